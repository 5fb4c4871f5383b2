#pragma once

#include <condition_variable>
#include <mutex>

#include "FrameTimes.h"

/** Keeps what the samples of graphics frames tell. */
class FrameRecorder {
 public:
  /** The callback to register, with the recorder as its user pointer. */
  static void onEvent(int event, void* payload, int zero, void* recorder);

  /** Waits until count frames have started; false when that takes longer than limit. */
  bool waitFor(std::size_t count, Clock::duration limit) const;

  std::string progressLine() const;

  /** Frames that started, and how many of them per second. */
  std::pair<std::size_t, double> countAndRate() const;

  /** Intervals between starts, as Durations::latest(). */
  std::vector<double> latestIntervals(Clock::time_point since, std::size_t count) const;

  FrameTimes times() const;

 private:
  mutable std::mutex mTimesLck;
  mutable std::condition_variable mArrived;
  FrameTimes mTimes;
};
