#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <sstream>

#include <android-base/unique_fd.h>

#include "watch/Progress.h"
#include "watch/Summary.h"

namespace {

/** How far text moves the cursor down in all. */
long linesDown(const std::string& text) {
  long down = std::count(text.begin(), text.end(), '\n');
  for (std::size_t up = 0; (up = text.find("\r\033[", up)) != std::string::npos; ++up) {
    down -= std::strtol(text.c_str() + up + 3, nullptr, 10);
  }
  return down;
}

TEST(LmctlLive, LinesTellWhatThereIs) {
  struct Case {
    const char* name;
    EventRecorder::Latest latest;
    std::vector<std::string> lines;
  };
  for (const auto& [name, latest, lines] : {
           Case{"nothing", {0, {}, {}}, {"vsync      no event yet"}},
           Case{"one event", {1, {}, {}}, {"vsync      1 event"}},
           Case{"a late one",
                {4, 40.0, {20, 20, 35}},
                {"vsync      4 events   40.0 Hz", "interval   ▅▅\033[33m█\033[0m",
                 "last 3     1 late   median 20.0 us   p99 35.0 us   largest 35.0 us"}},
       }) {
    Style style;
    style.color = !latest.intervals.empty();
    auto found = liveLines({"vsync", "event", latest, kMicroseconds}, style, 14);
    EXPECT_THAT(found[0], testing::HasSubstr(lines[0])) << name;
    found[0] = lines[0];
    EXPECT_EQ(found, lines) << name;
  }
}

TEST(LmctlLive, ProgressIsRedrawnInPlaceOnATerminalAndALineEachSecondElsewhere) {
  const android::base::unique_fd terminal(posix_openpt(O_RDWR | O_NOCTTY));
  const winsize size = {24, 25, 0, 0};
  ASSERT_EQ(ioctl(terminal.get(), TIOCSWINSZ, &size), 0);
  const StopSignals signals;
  for (const bool live : {true, false}) {
    std::ostringstream out;
    Console console{out, out, live, terminal.get()};
    showProgress(console, signals, Clock::now() + std::chrono::milliseconds(1050), [](std::size_t) {
      return std::vector<std::string>{std::string(60, 'x'), "y"};
    });
    // A line of 60 columns takes three of the terminal's rows: two more than it has line ends.
    const std::string text = out.str();
    EXPECT_EQ(linesDown(text), live ? -2 * std::count(text.begin(), text.end(), 'y') : 1) << text;
    EXPECT_EQ(text == std::string(60, 'x') + "\n", !live);
  }
}

TEST(LmctlLive, ASignalStopsUnlessTheCallerIgnoredIt) {
  for (const bool ignored : {false, true}) {
    const auto previous = std::signal(SIGHUP, ignored ? SIG_IGN : SIG_DFL);
    {
      const StopSignals signals;
      raise(SIGHUP);
      EXPECT_EQ(signals.waitUntil(Clock::now()), !ignored);
    }
    std::signal(SIGHUP, previous);
  }
}

TEST(LmctlLive, ColourIsForTerminalsUnlessUnwanted) {
  const android::base::unique_fd terminal(posix_openpt(O_RDWR | O_NOCTTY));
  setenv("TERM", "xterm", 1);
  for (const char* const noColor : {"", "1"}) {
    setenv("NO_COLOR", noColor, 1);
    EXPECT_EQ(mayColor(terminal.get()), *noColor == '\0');
  }
  setenv("TERM", "dumb", 1);
  EXPECT_FALSE(isCapableTerminal(terminal.get()));
}

}  // namespace
