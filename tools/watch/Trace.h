#pragma once

#include <iosfwd>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "OutputFile.h"
#include "watch/EventRecorder.h"

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

  void addVsyncs(const Recording& vsyncs) { addInstants("vsync", vsyncs.arrivals); }

  /**
   * Adds a track for each stage of frames, and one with the interval before each frame as a value.
   *
   * Durations are known when they arrive, not when they took place, and a sample does not say which
   * frame they belong to. So the last stage of a sample ends with its arrival, and each other one
   * where the next one begins. A stage that would begin before the sample ahead of it on its track has
   * ended is cut at its beginning; its argument "ms" is its whole duration.
   */
  void addFrames(const Recording& frames);

  /** Throws std::runtime_error when the trace could not be written. */
  void finish();

 private:
  using Event = nlohmann::ordered_json;

  struct Track {
    int number;
    long long freeUs;      ///< where the samples so far end
    long long nextFreeUs;  ///< where the one that is being added ends
  };

  long long sinceBeginUs(Clock::time_point time) const;

  /** Adds what names a track. */
  Track addTrack(const std::string& name);

  /** Adds a frame's stage that ends at endUs; returns when it began. */
  long long addStage(Track& track, std::size_t frame, double ms, long long endUs);

  /** Adds an event of a phase, with what else it has. */
  void add(const std::string& name, const char* phase, int track, const Event& members);

  OutputFile mFile;
  const Clock::time_point mBegin;
  int mTracks = 0;
  bool mEmpty = true;
};
