#pragma once

#include <condition_variable>
#include <mutex>
#include <optional>
#include <vector>

#include "testing/Clock.h"
#include "testing/Distribution.h"

struct GfxFrameData;

/** Durations in the order in which they became known. Those of one sample arrived together. */
struct Durations {
  std::vector<double> values{};
  std::vector<Clock::time_point> arrivals{};
  double sum = 0;

  void add(const std::vector<double>& sample, Clock::time_point arrival);
};

/** What an event source told. */
struct Recording {
  Unit unit;                                  ///< of the durations
  std::vector<Clock::time_point> arrivals{};  ///< of vsyncs, or of samples of frames
  std::size_t events = 0;                     ///< vsyncs, or frames whose start was counted
  Durations intervals{};                      ///< between successive events
  Durations firstToSecond{};                  ///< stages of frames
  Durations secondToThird{};                  ///< one for each frame that was finished

  void addVsync(Clock::time_point arrival);

  /**
   * Adds a sample, whose unit is the driver's: the node's times are taken for microseconds, which
   * makes the library's values milliseconds. The first start's value is dropped: it is no interval.
   */
  void addFrames(const GfxFrameData& sample, Clock::time_point arrival);

  /** Events per second, as their intervals tell; none without an interval. */
  std::optional<double> rateHz() const;
};

/** Records the events of a vsync source, or of a graphics source. */
class EventRecorder {
 public:
  /** Unit is that of the recording: microseconds for vsyncs, milliseconds for frames. */
  explicit EventRecorder(Unit unit) : mRecording{unit} {}

  /** The callback to register, with the recorder as its user pointer. */
  static void onEvent(int event, void* payload, int zero, void* recorder);

  /** Waits until count events have arrived, but no longer than limit. */
  void waitFor(std::size_t count, Clock::duration limit) const;

  Recording recording() const;

  struct Latest {
    std::size_t count;             ///< of all events
    std::optional<double> rateHz;  ///< of all events
    std::vector<double> intervals;
  };

  /** Count and rate, and the last intervals, at most so many. */
  Latest latest(std::size_t most) const;

  /** Forgets the events so far. */
  void clear();

 private:
  mutable std::mutex mRecordingLck;
  mutable std::condition_variable mArrived;
  Recording mRecording;
};
