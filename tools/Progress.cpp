#include "Progress.h"

#include <algorithm>
#include <ctime>
#include <ostream>

using std::chrono::duration_cast;

namespace {

constexpr auto kRedrawPeriod = std::chrono::milliseconds(100);
constexpr auto kLinePeriod = std::chrono::seconds(1);

}  // namespace

StopSignals::StopSignals() {
  sigemptyset(&mSignals);
  sigaddset(&mSignals, SIGINT);
  sigaddset(&mSignals, SIGTERM);
  sigaddset(&mSignals, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &mSignals, &mPrevious);
}

StopSignals::~StopSignals() { pthread_sigmask(SIG_SETMASK, &mPrevious, nullptr); }

bool StopSignals::wait(Clock::duration limit) const {
  const auto seconds = duration_cast<std::chrono::seconds>(limit);
  const auto rest = duration_cast<std::chrono::nanoseconds>(limit - seconds);
  const timespec timeout = {.tv_sec = seconds.count(), .tv_nsec = rest.count()};
  return sigtimedwait(&mSignals, nullptr, &timeout) > 0;
}

bool showProgress(Console& console, const StopSignals& signals, Clock::time_point end,
                  const ProgressLine& line, const ProgressBlock& block) {
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
  const auto stoppedBefore = [&](Clock::time_point time) {
    return signals.wait(std::max(time - Clock::now(), Clock::duration::zero()));
  };
  bool stopped = false;
  for (auto next = Clock::now() + period; next < end && !stopped;
       next = std::max(next + period, Clock::now())) {
    stopped = stoppedBefore(next);
    if (line && !stopped) {
      show();
    }
  }
  stopped = stopped || stoppedBefore(end);
  if (line && console.live) {
    live.erase();
  }
  return stopped;
}

WorkProgress::WorkProgress(const Console& console, const StopSignals& signals)
    : mConsole(console), mSignals(signals), mBlock(console), mNext(Clock::now() + kRedrawPeriod) {}

bool WorkProgress::update(const ProgressLine& line) {
  if (const auto now = Clock::now(); mConsole.live && now >= mNext) {
    const Screen screen(mConsole);
    mBlock.draw({fitted(line(), screen.width())}, screen);
    mNext = now + kRedrawPeriod;
  }
  return !mSignals.wait(Clock::duration::zero());
}

void WorkProgress::erase() {
  if (mConsole.live) {
    mBlock.erase();
  }
}
