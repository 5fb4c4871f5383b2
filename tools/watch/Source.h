#pragma once

#include <iosfwd>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <string>

#include <android-base/unique_fd.h>

#include "watch/EventRecorder.h"
#include "watch/Feed.h"

class TraceWriter;

/**
 * An event source of the library, watched once in a process: the callback stays registered with this
 * object's recorder.
 */
class WatchedSource {
 public:
  struct Kind {
    const char* name;
    const char* noun;  ///< of one event
    int item;          ///< its node
    Unit unit;         ///< of its recording
    void (*print)(const Recording& recording, std::ostream& out);
    nlohmann::ordered_json (*figures)(const Recording& recording);
    void (TraceWriter::*addToTrace)(const Recording& recording);
  };

  virtual ~WatchedSource() = default;

  /** Why it cannot be watched; empty when it can. */
  virtual std::string problem() const = 0;

  /** Starts the callback, then the feed. */
  virtual void start() = 0;

  /** Stops the feed, then pauses the callback. */
  void pause();

  std::string node() const;

  /** "118 events   60.0 Hz", so far. */
  std::string counts() const;

  const Kind& kind() const { return mKind; }
  const EventRecorder& recorder() const { return mRecorder; }

 protected:
  /** Watches the node of a feed, or without one that at path, or else the configured one. */
  WatchedSource(const Kind& kind, std::unique_ptr<Feed> feed, const std::string& path);

  /** Takes path for an item, unless it is empty. */
  void setNode(int item, const std::string& path);

  virtual void pauseCallback() = 0;

  const Kind& mKind;
  const std::unique_ptr<Feed> mFeed;
  EventRecorder mRecorder;
};

class WatchedVsyncs final : public WatchedSource {
 public:
  explicit WatchedVsyncs(std::unique_ptr<Feed> feed, const std::string& path = "");

  std::string problem() const override;
  void start() override;

 private:
  void pauseCallback() override;
};

class WatchedFrames final : public WatchedSource {
 public:
  /** Without a feed, value at the control node switches reports on. */
  explicit WatchedFrames(std::unique_ptr<Feed> feed, const std::string& path = "",
                         const std::string& controlPath = "", int value = 0);

  std::string problem() const override;
  void start() override;

  /** Why reports cannot be switched on; empty when they can. */
  std::string controlProblem() const;

 private:
  void pauseCallback() override;

  const int mControlValue;
  android::base::unique_fd mWriter{};  ///< of a FIFO, which would be at its end without one
};
