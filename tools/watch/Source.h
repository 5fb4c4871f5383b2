#pragma once

#include <iosfwd>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <string>

#include <android-base/unique_fd.h>

#include "ConfigOverrides.h"
#include "testing/EventRecorder.h"
#include "watch/Display.h"
#include "watch/FrameFeed.h"

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
    void (*addTo)(TraceWriter& trace, const Recording& recording);
  };

  virtual ~WatchedSource() = default;

  /** Why it cannot be watched; empty when it can. */
  virtual std::string problem() const = 0;

  virtual void start() = 0;
  virtual void pause() = 0;

  std::string node() const;

  /** "118 events   60.0 Hz", so far. */
  std::string counts() const;

  const Kind& kind() const { return mKind; }
  const EventRecorder& recorder() const { return mRecorder; }

 protected:
  explicit WatchedSource(const Kind& kind) : mKind(kind), mRecorder(kind.unit) {}

  /** Takes path for an item, unless it is empty. */
  void setNode(int item, const std::string& path);

  const Kind& mKind;
  EventRecorder mRecorder;
  ConfigOverrides mOverrides{};
};

class WatchedVsyncs final : public WatchedSource {
 public:
  /** Watches a display of lmctl's, or without one the node at path, or else the configured one. */
  explicit WatchedVsyncs(std::unique_ptr<Display> display, const std::string& path = "");

  std::string problem() const override;

  /** Also starts the display, when the source polls its node. Throws when it never does. */
  void start() override;

  void pause() override;

 private:
  bool waitUntilPolled();

  const std::unique_ptr<Display> mDisplay;
};

class WatchedFrames final : public WatchedSource {
 public:
  /** Likewise; without a feed, value at the control node switches reports on. */
  explicit WatchedFrames(std::unique_ptr<FrameFeed> feed, const std::string& path = "",
                         const std::string& controlPath = "", int value = 0);

  std::string problem() const override;

  /** Why reports cannot be switched on; empty when they can. */
  std::string controlProblem() const;

  void start() override;
  void pause() override;

 private:
  const std::unique_ptr<FrameFeed> mFeed;
  const int mControlValue;
  android::base::unique_fd mWriter{};  ///< of a FIFO, which would be at its end without one
};
