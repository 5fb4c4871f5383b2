#pragma once

#include <iosfwd>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "testing/Clock.h"

struct GfxFrameData;

/** Durations in the order in which they arrived. Those of one sample arrived together. */
struct Durations {
  std::vector<double> ms;
  std::vector<Clock::time_point> arrivals;
  double sumMs = 0;

  void add(const std::vector<double>& sampleMs, Clock::time_point arrival);

  /** In ms, those that arrived since then, but not more than the last count of them. */
  std::vector<double> latest(Clock::time_point since, std::size_t count) const;
};

/**
 * What samples of graphics frames told. The unit is the driver's: it is taken for granted that the
 * node's times are microseconds, which makes the library's values milliseconds.
 */
struct FrameTimes {
  std::size_t reads = 0;    ///< samples, also those that told nothing
  std::size_t started = 0;  ///< frames whose start was counted
  Durations intervals;      ///< between those starts
  Durations firstToSecond;
  Durations secondToThird;  ///< one for each frame that was finished

  void add(const GfxFrameData& sample, Clock::time_point arrival);

  /** Started frames per second, by the node's times; 0 for fewer than two. */
  double rateHz() const;

  /** "118 frames   58.9 Hz" */
  std::string progressLine() const;

  void print(std::ostream& out) const;
  nlohmann::ordered_json toJson() const;
};

/** Frames that came late for the display's refresh. */
struct Lateness {
  static constexpr double kPeriods = 1.5;  ///< after more than these, a frame is late

  /** Counts the late ones; the period is the median of intervals. */
  explicit Lateness(const std::vector<double>& intervalsMs);

  double fromMs() const { return kPeriods * periodMs; }

  double periodMs = 0;
  std::size_t frames = 0;
  std::size_t missedRefreshes = 0;  ///< without a frame's start; also while nothing was to be drawn
};
