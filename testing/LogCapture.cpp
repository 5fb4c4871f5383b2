#include "testing/LogCapture.h"

#include <android/log.h>
#include <gtest/gtest.h>

#include <condition_variable>
#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <regex>

#include "testing/FailingNew.h"

namespace {

struct LogLine {
  int priority;
  std::string tag;
  std::string text;
};

std::mutex gLinesLck;
std::condition_variable gLineAdded;
std::vector<LogLine> gLines;

}  // namespace

/** Takes the place of liblog's, since that is a shared library. */
extern "C" int __android_log_print(int priority, const char* tag, const char* format, ...) {
  const failingnew::Pause pause;
  char text[1024];
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(text, sizeof(text), format, arguments);
  va_end(arguments);
  std::lock_guard lock(gLinesLck);
  static const std::regex lineNumber("\\(\\) [1-9][0-9]*: ");
  gLines.push_back({priority, tag, std::regex_replace(text, lineNumber, "() ")});
  gLineAdded.notify_all();
  return 1;
}

LogCapture::LogCapture() {
  std::lock_guard lock(gLinesLck);
  gLines.clear();
}

std::vector<std::string> LogCapture::texts() const { return waitFor(0); }

std::vector<std::string> LogCapture::waitFor(std::size_t count) const {
  std::unique_lock lock(gLinesLck);
  gLineAdded.wait_for(lock, std::chrono::seconds(5), [&] { return gLines.size() >= count; });
  std::vector<std::string> texts;
  for (const LogLine& line : gLines) {
    EXPECT_EQ(line.priority, ANDROID_LOG_ERROR);
    const bool fromStore =  // whose lines may have no component
        line.text.starts_with("LMDB: ") || line.text.find("() ") < line.text.find(": ");
    EXPECT_EQ(line.tag, fromStore ? "ANDR-PERF" : "ANDR-PERF-LM") << line.text;
    texts.push_back(line.text);
  }
  return texts;
}
