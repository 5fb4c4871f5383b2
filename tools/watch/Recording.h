#pragma once

#include <string>
#include <vector>

#include "config/DynamicLoader.h"
#include "testing/Clock.h"
#include "testing/Distribution.h"

struct GfxFrameData;

/** What lmctl calls the events of a source, and their unit. */
struct EventKind {
  const char* name;
  const char* part;  ///< of a report
  const char* noun;  ///< of one event
  int item;          ///< of the source's node
  Unit unit;         ///< of durations

  bool isFrames() const { return item == kGfxDataNodeItem; }
};
inline constexpr EventKind kVsyncs = {"vsync", "vsync", "event", kVsyncNodeItem, kMicroseconds};
inline constexpr EventKind kFrames = {"gfx", "frames", "frame", kGfxDataNodeItem, kMilliseconds};

/** Durations in the order in which they became known. Those of one sample arrived together. */
struct Durations {
  std::vector<double> values{};
  std::vector<Clock::time_point> arrivals{};

  void add(const std::vector<double>& sample, Clock::time_point arrival);
};

/** What an event source told. */
struct Recording {
  EventKind kind;
  std::string node{};
  Clock::time_point begin{};
  Clock::time_point end{};
  std::size_t events = 0;                     ///< vsyncs, or frames whose start was counted
  double intervalSum = 0;                     ///< of all intervals
  std::vector<Clock::time_point> made{};      ///< when a sample's were made
  std::vector<Clock::time_point> arrivals{};  ///< of vsyncs, or of samples of frames
  Durations intervals{};                      ///< between successive events
  Durations firstToSecond{};                  ///< stages of frames
  Durations secondToThird{};                  ///< one for each frame that was finished

  /**
   * Adds a vsync, for which sample is null, or a sample of frames. The node's times are taken for
   * microseconds, which makes the library's values milliseconds. The first start's value is dropped:
   * it is no interval.
   */
  void add(const GfxFrameData* sample, Clock::time_point arrival);

  double seconds() const { return toSeconds(end - begin); }

  /** Events per second, as their intervals tell; 0 without an interval. */
  double rateHz() const;
};
