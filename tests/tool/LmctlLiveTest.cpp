#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <sstream>

#include <android-base/unique_fd.h>

#include "Output.h"
#include "watch/LiveView.h"
#include "watch/Progress.h"

namespace {

/** How far text moves the cursor down in all. */
long linesDown(const std::string& text) {
  long down = std::count(text.begin(), text.end(), '\n');
  for (std::size_t up = 0; (up = text.find("\r\033[", up)) != std::string::npos; ++up) {
    down -= std::strtol(text.c_str() + up + 3, nullptr, 10);
  }
  return down;
}

/** A terminal to write to, whose size a test sets. */
struct Terminal {
  void resize(unsigned short columns) const {
    const winsize size = {24, columns, 0, 0};
    EXPECT_EQ(ioctl(file.get(), TIOCSWINSZ, &size), 0);
  }

  const android::base::unique_fd file{posix_openpt(O_RDWR | O_NOCTTY)};
  std::ostringstream out{};
  Console console{out, out, true, file.get(), true, {true}};
};

TEST(LmctlLive, TheFirstLineSaysWhatThereIsAndHowToStop) {
  Terminal terminal;
  terminal.console.style = {};
  terminal.resize(80);
  struct Case {
    const char* name;
    EventRecorder::Latest latest;
    const char* line;
  };
  for (const auto& [name, latest, line] : {
           Case{"nothing", {0, {}, {}}, "vsync      no event yet   Ctrl-C ends"},
           Case{"one event", {1, {}, {}}, "vsync      1 event   Ctrl-C ends"},
           Case{"stalled",
                {9, 60.0, {}},
                "vsync      9 events   60.0 Hz in all   none in the last 5 s   Ctrl-C ends"},
           Case{"running",
                {3, 50.0, {20000, 20000}},
                "vsync      3 events   50.0 Hz in all   50.0 Hz now   Ctrl-C ends"},
       }) {
    const auto lines =
        liveLines({"vsync", "event", latest, kMicroseconds}, Screen(terminal.console));
    EXPECT_EQ(lines[0], line) << name;
    EXPECT_EQ(lines.size() > 1, !latest.intervals.empty()) << name;
  }
}

TEST(LmctlLive, ABlockIsRedrawnInPlace) {
  Terminal terminal;
  LiveBlock block(terminal.console);
  Screen screen(terminal.console);
  block.draw({std::string(60, 'x'), "y"}, screen);
  screen.columns = 25;  // in which the terminal breaks the first line
  block.draw({"x"}, screen);
  EXPECT_EQ(linesDown(terminal.out.str()), 2 - 4 + 1);
}

TEST(LmctlLive, ProgressIsALineEachSecondElsewhereThanOnATerminal) {
  Terminal terminal;
  const StopSignals signals;
  for (const bool live : {true, false}) {
    terminal.out.str("");
    terminal.console.live = live;
    showProgress(terminal.console, signals, Clock::now() + std::chrono::milliseconds(1050),
                 [] { return "a line"; });
    EXPECT_EQ(linesDown(terminal.out.str()), live ? 0 : 1) << terminal.out.str();
    EXPECT_EQ(terminal.out.str() == "a line\n", !live);
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
