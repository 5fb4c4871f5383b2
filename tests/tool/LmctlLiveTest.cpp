#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <cstdlib>
#include <sstream>

#include <android-base/unique_fd.h>

#include "IntervalView.h"
#include "Progress.h"
#include "Sparkline.h"

namespace {

/** How far text moves the cursor down in all. */
long linesDown(const std::string& text) {
  long down = std::count(text.begin(), text.end(), '\n');
  for (std::size_t up = 0; (up = text.find("\r\033[", up)) != std::string::npos; ++up) {
    down -= std::strtol(text.c_str() + up + 3, nullptr, 10);
  }
  return down;
}

TEST(LmctlLive, LinesFitAndAreRedrawnInPlace) {
  EXPECT_EQ(joined(sparkline({-1, 0, 1, 2, 9}, {0, 2}, true)), "▁▁▅██");
  EXPECT_EQ(fitted("ä 12   p99 345   max 6", 17), "ä 12   p99 345");
  std::vector<double> recent(200, 10);
  recent[198] = 16;
  const android::base::unique_fd terminal(posix_openpt(O_RDWR | O_NOCTTY));
  std::ostringstream out;
  Console console{out, out, true, terminal.get(), true, {true}};
  const StopSignals signals;
  for (unsigned short columns : {1, 5, 12, 14, 30, 60, 120}) {
    const winsize size = {24, columns, 0, 0};
    ASSERT_EQ(ioctl(terminal.get(), TIOCSWINSZ, &size), 0);
    const auto lines =
        intervalLines({"gfx", 201, "frames", 98.5, recent, kMilliseconds}, Screen(console));
    for (const std::string& line : lines) {
      EXPECT_LT(displayWidth(line), columns) << line;
    }
    EXPECT_EQ(columns > 13, lines[1].ends_with("\033[33m▇\033[0m▅")) << columns;
    EXPECT_EQ(columns > 13, lines[2].ends_with("^ \033[0m")) << columns;
  }
  LiveBlock block(console);
  Screen screen(console);
  block.draw({std::string(60, 'x'), "y"}, screen);
  screen.columns = 25;  // in which the terminal breaks the first line
  block.draw({"x"}, screen);
  EXPECT_EQ(linesDown(out.str()), 2 - 4 + 1);
  const auto line = [] { return "a line"; };
  for (const bool live : {true, false}) {
    out.str("");
    console.live = live;
    showProgress(console, signals, Clock::now() + std::chrono::milliseconds(1050), line);
    EXPECT_EQ(linesDown(out.str()), live ? 0 : 1) << out.str();
    EXPECT_EQ(out.str() == "a line\n", !live);
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
