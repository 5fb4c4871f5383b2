#pragma once

#include <iosfwd>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "Console.h"
#include "watch/EventRecorder.h"

/** Events that came late for the display's refresh, whose period is the median of the intervals. */
struct Lateness {
  static constexpr double kPeriods = 1.5;  ///< an event is late after more than these

  explicit Lateness(const std::vector<double>& intervals);

  double period = 0;  ///< 0 without an interval
  double from = 0;    ///< later than this is late
  std::size_t events = 0;
  std::size_t missedRefreshes = 0;  ///< without an event; also while there was nothing to draw
};

/** A number with so many digits after the point. */
std::string fixed(double value, int digits);

/** "118 events   60.0 Hz", as far as that is known; noun is of one event. */
std::string countText(const EventRecorder::Latest& latest, const std::string& noun);

/** What is shown of a source while it is watched. */
struct LiveView {
  std::string source;
  std::string noun;  ///< of one event
  EventRecorder::Latest latest;
  Unit unit;  ///< of its intervals
};

/**
 * Count and rate; a bar, one column wide, for each of the latest intervals, the highest of which stands
 * for 1.75 medians and more; percentiles. Without an interval only the first line. The bars of late
 * events are marked by style.
 */
std::vector<std::string> liveLines(const LiveView& view, const Style& style, std::size_t width);

/** Prints a summary for a person. @{ */
void printVsyncs(const Recording& vsyncs, std::ostream& out);
void printFrames(const Recording& frames, std::ostream& out);
/** @} */

/** The summary's figures; null for what is unknown without an interval. @{ */
nlohmann::ordered_json vsyncFigures(const Recording& vsyncs);
nlohmann::ordered_json frameFigures(const Recording& frames);
/** @} */
