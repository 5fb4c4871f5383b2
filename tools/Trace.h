#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "FrameTimes.h"
#include "OutputFile.h"

/**
 * A trace file for ui.perfetto.dev, in the JSON format of Chrome's traces. Times are relative to the
 * begin of the trace.
 *
 * Durations are known when they arrive, not when they took place, so each is put where it ends with
 * its arrival; of those that arrive together, one follows the other and the last ends then. What
 * would have begun before the trace is shifted to its begin. Durations that overlap nevertheless,
 * of frames in flight at the same time, go to further tracks of the same name, up to kLanes in all;
 * what finds all of them taken is shifted behind what ends first.
 */
class TraceWriter {
 public:
  static constexpr std::size_t kLanes = 4;

  /** Begins an OutputFile. Throws std::runtime_error when it cannot be written. */
  TraceWriter(const std::string& path, std::ostream& standardOutput, Clock::time_point begin);

  /** Adds a track of points in time. */
  void addInstants(const std::string& name, const std::vector<Clock::time_point>& times);

  /** Adds a track, or several, of durations. */
  void addSlices(const std::string& name, const Durations& durations);

  /** Adds a track that shows each duration as a value, in milliseconds, from its end on. */
  void addCounter(const std::string& name, const Durations& durations);

  /** Adds the tracks of frames: their stages and the intervals between their starts. */
  void addFrames(const FrameTimes& times);

  /** Puts the trace in the place of path. Throws std::runtime_error when it cannot. */
  void finish();

 private:
  /** When each of the durations began, in ns. */
  std::vector<long long> begins(const Durations& durations) const;
  long long sinceBegin(Clock::time_point time) const;

  /** Adds what names a track; returns the track's number. */
  int addTrack(const std::string& name);
  void add(const nlohmann::ordered_json& event);

  OutputFile mFile;
  const Clock::time_point mBegin;
  int mTracks = 0;
  bool mEmpty = true;
};
