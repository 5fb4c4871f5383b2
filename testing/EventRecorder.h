#pragma once

#include <condition_variable>
#include <mutex>
#include <vector>

#include "testing/Clock.h"

/** Notes when each event arrives. */
class EventRecorder {
 public:
  /** The callback to register, with the recorder as its user pointer. */
  static void onEvent(int event, void* payload, int zero, void* recorder);

  std::size_t count() const;

  /** Waits until count events have arrived; false when that takes longer than limit. */
  bool waitFor(std::size_t count, Clock::duration limit) const;

  std::vector<Clock::time_point> arrivals() const;

  /** Those since then, but not more than the last count of them. */
  std::vector<Clock::time_point> latest(Clock::time_point since, std::size_t count) const;

  /** Forgets the arrivals so far. */
  void clear();

 private:
  mutable std::mutex mArrivalsLck;
  mutable std::condition_variable mArrived;
  std::vector<Clock::time_point> mArrivals;
};
