#include "watch/Progress.h"

#include <algorithm>
#include <ctime>
#include <ostream>

#include "Output.h"

using std::chrono::duration_cast;

namespace {

constexpr auto kRedrawPeriod = std::chrono::milliseconds(100);
constexpr auto kLinePeriod = std::chrono::seconds(1);

bool isIgnored(int signal) {
  struct sigaction action = {};
  return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

/** Lines at the end of a terminal's output. The cursor rests at the beginning of the line below. */
class LiveBlock {
 public:
  explicit LiveBlock(const Console& console) : mConsole(console) {}

  /** Draws what lines gives over those of the last call, as many as the terminal has room for. */
  void draw(const ProgressLines& lines) {
    const TerminalSize size = mConsole.size();
    const std::string erased = eraseText(size.columns);
    mLines = lines(size.columns - 1);  // in the last column a terminal would break the line
    mLines.emplace_back("Ctrl-C ends");
    mLines.resize(std::min(mLines.size(), size.rows - 1));
    mConsole.out << erased;
    for (const std::string& line : mLines) {
      mConsole.out << line << "\n";
    }
    mConsole.out << std::flush;
  }

  void erase() const { mConsole.out << eraseText(mConsole.size().columns) << std::flush; }

 private:
  /** In a narrow terminal lines were broken to take several rows. */
  std::string eraseText(std::size_t columns) const {
    std::size_t rows = 0;
    for (const std::string& line : mLines) {
      rows += std::max((displayWidth(line) + columns - 1) / columns, std::size_t{1});
    }
    return rows > 0 ? "\r\033[" + std::to_string(rows) + "A\033[J" : "";
  }

  const Console& mConsole;
  std::vector<std::string> mLines;
};

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

bool StopSignals::waitUntil(Clock::time_point end) const {
  const Clock::duration limit = std::max(end - Clock::now(), Clock::duration::zero());
  const auto seconds = duration_cast<std::chrono::seconds>(limit);
  const auto rest = duration_cast<std::chrono::nanoseconds>(limit - seconds);
  const timespec timeout = {.tv_sec = seconds.count(), .tv_nsec = rest.count()};
  return sigtimedwait(&mSignals, nullptr, &timeout) > 0;
}

bool showProgress(Console& console, const StopSignals& signals, Clock::time_point end,
                  const ProgressLines& lines) {
  if (!lines) {
    return signals.waitUntil(end);
  }
  LiveBlock block(console);
  const Clock::duration period = console.live ? Clock::duration(kRedrawPeriod) : kLinePeriod;
  auto next = Clock::now() + period;
  for (; next < end && !signals.waitUntil(next); next = std::max(next + period, Clock::now())) {
    if (console.live) {
      block.draw(lines);
    } else {
      console.out << lines(std::string::npos).front() << "\n" << std::flush;
    }
  }
  const bool isStopped = next < end || signals.waitUntil(end);
  if (console.live) {
    block.erase();
  }
  return isStopped;
}
