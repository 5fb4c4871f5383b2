#include "FrameRecorder.h"

#include "AsyncEventsMgr.h"

void FrameRecorder::onEvent(int, void* payload, int, void* recorder) {
  const Clock::time_point now = Clock::now();
  auto* const self = static_cast<FrameRecorder*>(recorder);
  std::lock_guard lock(self->mTimesLck);
  self->mTimes.add(*static_cast<const GfxFrameData*>(payload), now);
  self->mArrived.notify_all();
}

bool FrameRecorder::waitFor(std::size_t count, Clock::duration limit) const {
  std::unique_lock lock(mTimesLck);
  return mArrived.wait_for(lock, limit, [&] { return mTimes.started >= count; });
}

std::string FrameRecorder::progressLine() const {
  std::lock_guard lock(mTimesLck);
  return mTimes.progressLine();
}

std::pair<std::size_t, double> FrameRecorder::countAndRate() const {
  std::lock_guard lock(mTimesLck);
  return {mTimes.started, mTimes.rateHz()};
}

std::vector<double> FrameRecorder::latestIntervals(Clock::time_point since,
                                                   std::size_t count) const {
  std::lock_guard lock(mTimesLck);
  return mTimes.intervals.latest(since, count);
}

FrameTimes FrameRecorder::times() const {
  std::lock_guard lock(mTimesLck);
  return mTimes;
}
