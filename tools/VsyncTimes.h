#pragma once

#include <iosfwd>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "testing/Clock.h"
#include "testing/Distribution.h"

/** What vsyncs told, by when they arrived. */
struct VsyncTimes {
  std::vector<Clock::time_point> arrivals;

  /** Events per second from the first arrival to the last; 0 for fewer than two. */
  double rateHz() const;

  /** The times between successive events, in their order. */
  std::vector<double> intervalsUs() const;

  /** How far these are off their median, without the sign. */
  Distribution jitter() const;

  /** "118 events   60.0 Hz" */
  std::string progressLine() const;

  void print(std::ostream& out) const;
  nlohmann::ordered_json toJson() const;
};
