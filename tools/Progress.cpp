#include "Progress.h"

#include <algorithm>
#include <ctime>
#include <ostream>

using std::chrono::duration_cast;

namespace {

constexpr auto kRedrawPeriod = std::chrono::milliseconds(100);
constexpr auto kLinePeriod = std::chrono::seconds(1);
constexpr char kEraseLine[] = "\r\033[K";

}  // namespace

StopSignals::StopSignals() {
  sigemptyset(&mSignals);
  sigaddset(&mSignals, SIGINT);
  sigaddset(&mSignals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &mSignals, &mPrevious);
}

StopSignals::~StopSignals() { pthread_sigmask(SIG_SETMASK, &mPrevious, nullptr); }

bool StopSignals::wait(Clock::duration limit) const {
  const auto seconds = duration_cast<std::chrono::seconds>(limit);
  const auto rest = duration_cast<std::chrono::nanoseconds>(limit - seconds);
  const timespec timeout = {.tv_sec = seconds.count(), .tv_nsec = rest.count()};
  return sigtimedwait(&mSignals, nullptr, &timeout) > 0;
}

void showProgress(Console& console, const StopSignals& signals, Clock::time_point end,
                  const ProgressLine& line) {
  const Clock::duration period = console.live ? Clock::duration(kRedrawPeriod) : kLinePeriod;
  for (auto next = Clock::now() + period; next < end; next += period) {
    if (signals.wait(std::max(next - Clock::now(), Clock::duration::zero()))) {
      end = Clock::now();
    } else if (line) {
      console.out << (console.live ? kEraseLine : "") << line() << (console.live ? "" : "\n")
                  << std::flush;
    }
  }
  signals.wait(std::max(end - Clock::now(), Clock::duration::zero()));
  if (line && console.live) {
    console.out << kEraseLine << std::flush;
  }
}
