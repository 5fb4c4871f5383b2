#pragma once

#include <android/log.h>

/** Keeps this process's log quiet while it lives, where failures are expected and told otherwise. */
class QuietLog {
 public:
  QuietLog() : mPriority(__android_log_set_minimum_priority(ANDROID_LOG_SILENT)) {}
  ~QuietLog() { __android_log_set_minimum_priority(mPriority); }
  QuietLog(const QuietLog&) = delete;
  QuietLog& operator=(const QuietLog&) = delete;

 private:
  const int mPriority;
};
