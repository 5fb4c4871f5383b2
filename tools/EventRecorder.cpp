#include "EventRecorder.h"

#include <algorithm>

void EventRecorder::onEvent(int, void*, int, void* recorder) {
  const Clock::time_point now = Clock::now();
  auto* const self = static_cast<EventRecorder*>(recorder);
  std::lock_guard lock(self->mTimesLck);
  self->mTimes.arrivals.push_back(now);
  self->mArrived.notify_all();
}

std::size_t EventRecorder::count() const {
  std::lock_guard lock(mTimesLck);
  return mTimes.arrivals.size();
}

double EventRecorder::rateHz() const {
  std::lock_guard lock(mTimesLck);
  return mTimes.rateHz();
}

std::string EventRecorder::progressLine() const {
  std::lock_guard lock(mTimesLck);
  return mTimes.progressLine();
}

bool EventRecorder::waitFor(std::size_t count, Clock::duration limit) const {
  std::unique_lock lock(mTimesLck);
  return mArrived.wait_for(lock, limit, [&] { return mTimes.arrivals.size() >= count; });
}

VsyncTimes EventRecorder::times() const {
  std::lock_guard lock(mTimesLck);
  return mTimes;
}

VsyncTimes EventRecorder::latest(Clock::time_point since, std::size_t count) const {
  std::lock_guard lock(mTimesLck);
  const auto& arrivals = mTimes.arrivals;
  const auto last = static_cast<std::ptrdiff_t>(std::min(count, arrivals.size()));
  return {{std::lower_bound(arrivals.end() - last, arrivals.end(), since), arrivals.end()}};
}

void EventRecorder::clear() {
  std::lock_guard lock(mTimesLck);
  mTimes.arrivals.clear();
}
