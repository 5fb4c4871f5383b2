#pragma once

#include <string>
#include <vector>

#include "Console.h"
#include "testing/EventRecorder.h"

/** How far back a live view looks, so that it costs the same after a second and after a day. */
inline constexpr auto kRecent = std::chrono::seconds(5);
inline constexpr std::size_t kRecentEvents = 1000;

/** What lines on a terminal show of a source. */
struct LiveView {
  const char* source;
  const char* noun;  ///< of one event
  EventRecorder::Latest latest;
  Unit unit;  ///< of its intervals
};

/**
 * Counts and rates; a bar, one column wide, for each of the latest intervals, the highest of which
 * stands for 1.75 medians and more; marks below those that are late; percentiles. Without a recent
 * interval only the first line.
 */
std::vector<std::string> liveLines(const LiveView& view, const Screen& screen);
