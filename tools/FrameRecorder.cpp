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

FrameTimes FrameRecorder::times() const {
  std::lock_guard lock(mTimesLck);
  return mTimes;
}
