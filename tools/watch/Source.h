#pragma once

#include <atomic>
#include <list>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <android-base/unique_fd.h>

#include "watch/Progress.h"
#include "watch/Recording.h"
#include "watch/Sample.h"
#include "watch/Watch.h"

/**
 * An event source of the library, watched once in a process: the callback stays registered with this
 * object.
 */
class WatchedSource {
 public:
  /** Throws std::runtime_error when it cannot be watched as options say. */
  WatchedSource(const EventKind& kind, const SourceOptions& options);
  ~WatchedSource() { stopEvents(); }

  /** Why reports of frames cannot be switched on, which others may do; empty when they can. */
  std::string controlProblem() const;

  /** Starts the callback, then the sample's events. */
  void start();

  /** Stops the sample's events, then pauses the callback; returns what it told. */
  Recording stop();

  /** liveLines() of what it told so far. */
  std::vector<std::string> lines(const Console& console, std::size_t width) const;

 private:
  /** Makes the sample's events, on a thread of its own. */
  void makeEvents();
  void stopEvents();

  static void onEvent(int event, void* payload, int zero, void* source);

  /** Has a driver that can do so make vsyncs at a rate; at 0 it makes none. */
  void switchVsyncs(int rateHz) const;

  const Sample mSample;
  const std::string mControl;
  const int mControlValue;
  android::base::unique_fd mWriter{};  ///< of a FIFO, which would be at its end without one
  mutable std::mutex mRecordingLck{};
  Recording mRecording;
  std::atomic<bool> mIsStopped = false;
  std::thread mSampleThread{};
};

/**
 * Watches sources for so many seconds, or until a signal when these are 0, and shows the latest events
 * meanwhile, unless it is to be quiet. Returns what they told.
 */
std::vector<Recording> watchSources(std::list<WatchedSource>& sources, double seconds, bool quiet,
                                    StopSignals& signals, Console& console);
