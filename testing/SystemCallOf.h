#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>

#include <fstream>
#include <string>

#include "testing/Clock.h"

/** What /proc tells of a thread of this process in one of its files. */
template <typename Value>
Value readTaskFile(pid_t thread, const char* file, Value value) {
  std::ifstream("/proc/self/task/" + std::to_string(thread) + "/" + file) >> value;
  return value;
}

/** The number of the system call that a thread waits in; -1 while it runs. */
inline long systemCallOf(pid_t thread) { return readTaskFile(thread, "syscall", -1L); }

inline std::string nameOf(pid_t thread) { return readTaskFile(thread, "comm", std::string()); }

/** Waits until a thread of this process waits in that system call. */
inline void waitUntilIn(long call, pid_t thread) {
  const auto end = Clock::now() + std::chrono::seconds(10);
  while (systemCallOf(thread) != call) {
    ASSERT_LT(Clock::now(), end) << "it does not go to sleep";
  }
}
