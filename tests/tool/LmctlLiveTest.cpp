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
  Recording recording = {kVsyncs};
  const auto add = [&](int us) {
    recording.add(nullptr, Clock::time_point(std::chrono::microseconds(us)));
  };
  const auto lines = [&](bool color) { return liveLines(recording, 3, {color}, 14); };
  EXPECT_THAT(lines(false), testing::ElementsAre("vsync      no event yet"));
  add(0);
  EXPECT_THAT(lines(false), testing::ElementsAre("vsync      1 event"));
  for (const int us : {60, 80, 100, 135}) {
    add(us);
  }
  EXPECT_THAT(
      lines(true),
      testing::ElementsAre(testing::HasSubstr("vsync      5 events   29629.6 Hz"),
                           "interval   ▅▅\033[33m█\033[0m",
                           "last 3     1 late   median 20.0 us   p99 35.0 us   largest 35.0 us"));
}

TEST(LmctlLive, ProgressIsRedrawnInPlaceOnATerminalAndAgainEachSecondElsewhere) {
  const android::base::unique_fd terminal(posix_openpt(O_RDWR | O_NOCTTY));
  const winsize size = {24, 25, 0, 0};
  ASSERT_EQ(ioctl(terminal.get(), TIOCSWINSZ, &size), 0);
  StopSignals signals;
  for (const bool live : {true, false}) {
    std::ostringstream out;
    Console console{out, out, live, terminal.get()};
    showProgress(console, signals, 1.05, [](std::size_t) {
      return std::vector<std::string>{std::string(60, 'x'), "y"};
    });
    // A line of 60 columns takes three of the terminal's rows: two more than it has line ends.
    const std::string text = out.str();
    EXPECT_EQ(linesDown(text), live ? -2 * std::count(text.begin(), text.end(), 'y') : 2) << text;
    EXPECT_EQ(text == std::string(60, 'x') + "\ny\n", !live);
  }
}

TEST(LmctlLive, ASignalStopsUnlessTheCallerIgnoredIt) {
  for (const bool ignored : {false, true}) {
    const auto previous = std::signal(SIGHUP, ignored ? SIG_IGN : SIG_DFL);
    {
      StopSignals signals;
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
