#pragma once

#include <string>
#include <vector>

#include "Console.h"
#include "testing/Distribution.h"

/** How far back a live view looks, so that it costs the same after a second and after a day. */
inline constexpr auto kRecent = std::chrono::seconds(5);
inline constexpr std::size_t kRecentEvents = 1000;

/** Events of a source that is being watched. */
struct WatchedIntervals {
  const char* source;
  std::size_t count;   ///< of the events since the begin
  const char* events;  ///< their name
  double rateHz;       ///< since the begin
  std::vector<double> recent;
  Unit unit;  ///< of recent
};

/**
 * Counts and rates; bars of the latest intervals, the highest of which stands for 1.75 medians and
 * more; marks below those longer than Lateness::kPeriods medians; percentiles.
 */
std::vector<std::string> intervalLines(const WatchedIntervals& watched, const Screen& screen);
