#include "watch/Progress.h"

#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <ostream>

#include "Output.h"

namespace {

constexpr auto kRedrawPeriod = std::chrono::milliseconds(100);
constexpr auto kLinePeriod = std::chrono::seconds(1);

bool isIgnored(int signal) {
  struct sigaction action = {};
  return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

/** What erases lines above the cursor. In a narrow terminal they were broken to take several rows. */
std::string eraseText(const std::vector<std::string>& lines, std::size_t columns) {
  std::size_t rows = 0;
  for (const std::string& line : lines) {
    rows += std::max((displayWidth(line) + columns - 1) / columns, std::size_t{1});
  }
  return rows > 0 ? "\r\033[" + std::to_string(rows) + "A\033[J" : "";
}

void print(const std::vector<std::string>& lines, const Console& console) {
  for (const std::string& line : lines) {
    console.out << line << "\n";
  }
  console.out << std::flush;
}

/** Draws lines over those of the last call, as many as the terminal has room for. */
void redraw(std::vector<std::string>& shown, const ProgressLines& lines, const Console& console) {
  const TerminalSize size = console.size();
  console.out << eraseText(shown, size.columns);
  shown = lines(size.columns - 1);  // in the last column a terminal would break the line
  shown.emplace_back("Ctrl-C ends");
  shown.resize(std::min(shown.size(), size.rows - 1));
  print(shown, console);
}

}  // namespace

StopSignals::StopSignals() {
  sigemptyset(&mSignals);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) {
    if (!isIgnored(signal)) {
      sigaddset(&mSignals, signal);
    }
  }
  pthread_sigmask(SIG_BLOCK, &mSignals, &mPrevious);
}

StopSignals::~StopSignals() { pthread_sigmask(SIG_SETMASK, &mPrevious, nullptr); }

bool StopSignals::waitUntil(Clock::time_point end) {
  constexpr long kSecond = 1'000'000'000;
  const std::chrono::nanoseconds rest = std::max(end - Clock::now(), Clock::duration::zero());
  const timespec limit = {.tv_sec = rest.count() / kSecond, .tv_nsec = rest.count() % kSecond};
  mArrived = mArrived || TEMP_FAILURE_RETRY(sigtimedwait(&mSignals, nullptr, &limit)) > 0;
  return mArrived;
}

void showProgress(const Console& console, StopSignals& signals, double seconds,
                  const ProgressLines& lines) {
  const Clock::time_point begin = Clock::now();
  const auto end = seconds > 0 ? begin + fromSeconds(seconds) : Clock::time_point::max();
  if (!lines) {
    signals.waitUntil(end);
    return;
  }
  const Clock::duration period = console.live ? Clock::duration(kRedrawPeriod) : kLinePeriod;
  std::vector<std::string> shown;
  for (auto next = begin + period; !signals.waitUntil(std::min(next, end)) && next < end;
       next = std::max(next + period, Clock::now())) {
    if (console.live) {
      redraw(shown, lines, console);
    } else {
      print(lines(std::string::npos), console);
    }
  }
  console.out << eraseText(shown, console.size().columns) << std::flush;
}
