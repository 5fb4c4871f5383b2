#include "watch/Progress.h"

#include <algorithm>
#include <ctime>
#include <ostream>

#include "watch/LiveView.h"

using std::chrono::duration_cast;

namespace {

constexpr auto kRedrawPeriod = std::chrono::milliseconds(100);
constexpr auto kLinePeriod = std::chrono::seconds(1);

bool isIgnored(int signal) {
  struct sigaction action = {};
  return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
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

bool StopSignals::waitUntil(Clock::time_point end) const {
  const Clock::duration limit = std::max(end - Clock::now(), Clock::duration::zero());
  const auto seconds = duration_cast<std::chrono::seconds>(limit);
  const auto rest = duration_cast<std::chrono::nanoseconds>(limit - seconds);
  const timespec timeout = {.tv_sec = seconds.count(), .tv_nsec = rest.count()};
  return sigtimedwait(&mSignals, nullptr, &timeout) > 0;
}

bool showProgress(Console& console, const StopSignals& signals, Clock::time_point end,
                  const ProgressLine& line, const ProgressBlock& block) {
  if (!line) {
    return signals.waitUntil(end);
  }
  LiveBlock live(console);
  const auto show = [&] {
    if (!console.live) {
      console.out << line() << "\n" << std::flush;
      return;
    }
    const Screen screen(console);
    live.draw(block ? block(screen) : std::vector{fitted(line(), screen.width())}, screen);
  };
  const Clock::duration period = console.live ? Clock::duration(kRedrawPeriod) : kLinePeriod;
  bool stopped = false;
  for (auto next = Clock::now() + period; next < end && !stopped;
       next = std::max(next + period, Clock::now())) {
    stopped = signals.waitUntil(next);
    if (!stopped) {
      show();
    }
  }
  stopped = stopped || signals.waitUntil(end);
  if (console.live) {
    live.erase();
  }
  return stopped;
}
