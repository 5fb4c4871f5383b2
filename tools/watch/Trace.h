#pragma once

#include <iosfwd>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "OutputFile.h"
#include "watch/Recording.h"

/**
 * A trace file for ui.perfetto.dev, in the JSON format of Chrome's traces. All times are whole
 * microseconds since the beginning of the trace.
 */
class TraceWriter {
 public:
  /** Begins the file, or writes to standardOutput: see OutputFile. */
  TraceWriter(const std::string& path, Clock::time_point begin, std::ostream& standardOutput);

  /** Adds a track of points in time. */
  void addInstants(const std::string& name, const std::vector<Clock::time_point>& times);

  /**
   * Adds a track of vsyncs. Of frames, a track for each stage, and one with the interval before each
   * frame as a value.
   *
   * Durations are known when they arrive, not when they took place, and a sample does not say which
   * frame they belong to. So the last stage of a sample ends with its arrival, and each other one
   * where the next one begins. A stage that would begin before the sample ahead of it on its track has
   * ended is cut at its beginning; its argument "ms" is its whole duration.
   */
  void add(const Recording& recording);

  /** Throws std::runtime_error when the trace could not be written. */
  void finish();

 private:
  using Event = nlohmann::ordered_json;

  /** A row of the trace, whose events so far end at freeUs. */
  struct Track {
    int number;
    long long freeUs = 0;
  };

  long long sinceBeginUs(Clock::time_point time) const;

  /** Adds what names a track. */
  Track addTrack(const std::string& name);

  void addFrames(const Recording& frames);

  /** Adds a frame's stage that begins at beginUs, and moves that on to its end. */
  void addStage(Track& track, std::size_t frame, double ms, long long& beginUs);

  /** Adds an event of a phase, with what else it has. */
  void addEvent(const std::string& name, const char* phase, int track, const Event& members);

  OutputFile mFile;
  const Clock::time_point mBegin;
  int mTracks = 0;
  bool mEmpty = true;
};
