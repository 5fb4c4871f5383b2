#include "testing/EventRecorder.h"

#include <algorithm>

void EventRecorder::onEvent(int, void*, int, void* recorder) {
  const Clock::time_point now = Clock::now();
  auto* const self = static_cast<EventRecorder*>(recorder);
  std::lock_guard lock(self->mArrivalsLck);
  self->mArrivals.push_back(now);
  self->mArrived.notify_all();
}

std::size_t EventRecorder::count() const {
  std::lock_guard lock(mArrivalsLck);
  return mArrivals.size();
}

bool EventRecorder::waitFor(std::size_t count, Clock::duration limit) const {
  std::unique_lock lock(mArrivalsLck);
  return mArrived.wait_for(lock, limit, [&] { return mArrivals.size() >= count; });
}

std::vector<Clock::time_point> EventRecorder::arrivals() const {
  std::lock_guard lock(mArrivalsLck);
  return mArrivals;
}

std::vector<Clock::time_point> EventRecorder::latest(Clock::time_point since,
                                                     std::size_t count) const {
  std::lock_guard lock(mArrivalsLck);
  const auto last = static_cast<std::ptrdiff_t>(std::min(count, mArrivals.size()));
  return {std::lower_bound(mArrivals.end() - last, mArrivals.end(), since), mArrivals.end()};
}

void EventRecorder::clear() {
  std::lock_guard lock(mArrivalsLck);
  mArrivals.clear();
}
