#include "testing/LogCapture.h"

#include <android/log.h>
#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <regex>

#include "testing/FailingNew.h"

namespace {

std::mutex gLinesLck;
std::vector<std::string> gLines;

}  // namespace

/** Takes the place of liblog's, since that is a shared library. */
extern "C" int __android_log_print(int priority, const char* tag, const char* format, ...) {
  const failingnew::Pause pause;
  char line[1024];
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(line, sizeof(line), format, arguments);
  va_end(arguments);
  static const std::regex lineNumber("\\(\\) [1-9][0-9]*: ");
  const std::string text = std::regex_replace(line, lineNumber, "() ");
  const bool fromStore =  // whose lines may have no component
      text.starts_with("LMDB: ") || text.find("() ") < text.find(": ");
  EXPECT_EQ(priority, ANDROID_LOG_ERROR) << text;
  EXPECT_STREQ(tag, fromStore ? "ANDR-PERF" : "ANDR-PERF-LM") << text;
  std::lock_guard lock(gLinesLck);
  gLines.push_back(text);
  return 1;
}

LogCapture::LogCapture() {
  std::lock_guard lock(gLinesLck);
  gLines.clear();
}

std::vector<std::string> LogCapture::texts() const {
  std::lock_guard lock(gLinesLck);
  return gLines;
}
