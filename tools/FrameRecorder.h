#pragma once

#include "FrameTimes.h"

/** Keeps what the samples of graphics frames tell. */
class FrameRecorder {
 public:
  /** The callback to register, with the recorder as its user pointer. */
  static void onEvent(int event, void* payload, int zero, void* recorder);

  /** Waits until count frames have started; false when that takes longer than limit. */
  bool waitFor(std::size_t count, Clock::duration limit) const;

  std::string progressLine() const;
  FrameTimes times() const;

 private:
  mutable std::mutex mTimesLck;
  mutable std::condition_variable mArrived;
  FrameTimes mTimes;
};
