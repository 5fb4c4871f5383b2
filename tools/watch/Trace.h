#pragma once

#include <iosfwd>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "OutputFile.h"
#include "testing/EventRecorder.h"

/**
 * A trace file for ui.perfetto.dev, in the JSON format of Chrome's traces, with a track for each stage
 * of frames. All times are whole microseconds since the beginning of the trace.
 *
 * Durations are known when they arrive, not when they took place, and a sample does not say which
 * frame they belong to. So the last frame of a sample ends with its arrival; each stage of a frame
 * begins where the stage before it ends, and the frames of a sample follow each other. A stage that
 * would begin before the one ahead of it on its track has ended is cut at its beginning; its argument
 * "ms" is its whole duration.
 */
class TraceWriter {
 public:
  /** Begins the file, or writes to standardOutput: see OutputFile. */
  TraceWriter(const std::string& path, Clock::time_point begin, std::ostream& standardOutput);

  /** Adds a track of points in time. */
  void addInstants(const std::string& name, const std::vector<Clock::time_point>& times);

  /** Adds two tracks of stages, and one with the interval before each frame as a value. */
  void addFrames(const Recording& frames);

  /** Throws std::runtime_error when the trace could not be written. */
  void finish();

 private:
  using Event = nlohmann::ordered_json;

  struct Track {
    int number;
    long long endUs;  ///< of its last slice
  };

  long long sinceBeginUs(Clock::time_point time) const;

  /** Adds what names a track. */
  Track addTrack(const std::string& name);
  void addSlice(Track& track, std::size_t frame, long long beginUs, long long endUs, double ms);
  void addIntervals(const Durations& intervals);

  /** Adds an event of a phase, with what else it has. */
  void add(const std::string& name, const char* phase, int track, const Event& members);

  OutputFile mFile;
  const Clock::time_point mBegin;
  int mTracks = 0;
  bool mEmpty = true;
};
