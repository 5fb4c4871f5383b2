#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <android-base/unique_fd.h>

#include "watch/Feed.h"
#include "watch/Progress.h"
#include "watch/Recording.h"
#include "watch/Watch.h"

/**
 * An event source of the library, watched once in a process: the callback stays registered with this
 * object.
 */
class WatchedSource {
 public:
  WatchedSource(const EventKind& kind, const SourceOptions& options);

  /** Why it cannot be watched; empty when it can. */
  std::string problem() const;

  /** Why reports of frames cannot be switched on; empty when they can. */
  std::string controlProblem() const;

  /** Starts the callback, then the sample's events. */
  void start();

  /** Stops the sample's events, then pauses the callback. */
  void stop();

  /** What it told so far. */
  Recording recording() const;

  /** Its Recording::latest(). */
  Recording latest(std::size_t most) const;

 private:
  static void onEvent(int event, void* payload, int zero, void* source);

  /** Forgets the events so far. */
  void clear();

  /** Has a driver that can do so make vsyncs at a rate; at 0 it makes none. */
  void switchVsyncs(int rateHz) const;

  const std::unique_ptr<Feed> mFeed;
  const std::string mControl;
  const int mControlValue;
  android::base::unique_fd mWriter{};  ///< of a FIFO, which would be at its end without one
  mutable std::mutex mRecordingLck{};
  Recording mRecording;
};

/**
 * Watches sources for so many seconds, or until a signal when these are 0, and shows the latest events
 * meanwhile, unless it is to be quiet.
 */
void watchSources(const std::vector<WatchedSource*>& sources, double seconds, bool quiet,
                  StopSignals& signals, Console& console);
