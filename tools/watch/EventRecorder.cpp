#include "watch/EventRecorder.h"

#include <algorithm>

#include "AsyncEventsMgr.h"

void Durations::add(const std::vector<double>& sample, Clock::time_point arrival) {
  for (const double value : sample) {
    values.push_back(value);
    arrivals.push_back(arrival);
    sum += value;
  }
}

void Recording::addVsync(Clock::time_point arrival) {
  if (events++ > 0) {
    intervals.add({toSeconds(arrival - arrivals.back()) * unit.perSecond}, arrival);
  }
  arrivals.push_back(arrival);
}

void Recording::addFrames(const GfxFrameData& sample, Clock::time_point arrival) {
  std::vector<double> sinceLast = sample.frameStartIntervals;
  if (events == 0 && !sinceLast.empty()) {
    sinceLast.erase(sinceLast.begin());
  }
  events += sample.frameStartIntervals.size();
  intervals.add(sinceLast, arrival);
  firstToSecond.add(sample.firstToSecondStage, arrival);
  secondToThird.add(sample.secondToThirdStage, arrival);
  arrivals.push_back(arrival);
}

std::optional<double> Recording::rateHz() const {
  if (intervals.sum <= 0) {
    return std::nullopt;
  }
  return unit.perSecond * static_cast<double>(intervals.values.size()) / intervals.sum;
}

void EventRecorder::onEvent(int, void* payload, int, void* recorder) {
  const Clock::time_point now = Clock::now();
  auto* const self = static_cast<EventRecorder*>(recorder);
  std::lock_guard lock(self->mRecordingLck);
  if (payload == nullptr) {
    self->mRecording.addVsync(now);
  } else {
    self->mRecording.addFrames(*static_cast<const GfxFrameData*>(payload), now);
  }
  self->mArrived.notify_all();
}

void EventRecorder::waitFor(std::size_t count, Clock::duration limit) const {
  std::unique_lock lock(mRecordingLck);
  mArrived.wait_for(lock, limit, [&] { return mRecording.events >= count; });
}

Recording EventRecorder::recording() const {
  std::lock_guard lock(mRecordingLck);
  return mRecording;
}

EventRecorder::Latest EventRecorder::latest(std::size_t most) const {
  std::lock_guard lock(mRecordingLck);
  const std::vector<double>& all = mRecording.intervals.values;
  const auto last = static_cast<std::ptrdiff_t>(std::min(most, all.size()));
  return {mRecording.events, mRecording.rateHz(), {all.end() - last, all.end()}};
}

void EventRecorder::clear() {
  std::lock_guard lock(mRecordingLck);
  mRecording = {mRecording.unit};
}
