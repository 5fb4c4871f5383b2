#pragma once

#include <condition_variable>
#include <mutex>

#include "VsyncTimes.h"

/** Notes when each event arrives. */
class EventRecorder {
 public:
  /** The callback to register, with the recorder as its user pointer. */
  static void onEvent(int event, void* payload, int zero, void* recorder);

  std::size_t count() const;
  double rateHz() const;
  std::string progressLine() const;

  /** Waits until count events have arrived; false when that takes longer than limit. */
  bool waitFor(std::size_t count, Clock::duration limit) const;

  VsyncTimes times() const;

  /** Those since then, but not more than the last count of them. */
  VsyncTimes latest(Clock::time_point since, std::size_t count) const;

  /** Forgets the arrivals so far. */
  void clear();

 private:
  mutable std::mutex mTimesLck;
  mutable std::condition_variable mArrived;
  VsyncTimes mTimes;
};
