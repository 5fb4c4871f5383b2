#pragma once

#include <iosfwd>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include <android-base/unique_fd.h>

#include "ConfigOverrides.h"
#include "testing/Display.h"
#include "testing/EventRecorder.h"
#include "testing/FrameFeed.h"

class TraceWriter;

/**
 * An event source of the library, watched once in a process: the callback stays registered with this
 * object's recorder. To be made before any thread when it is a sample, which may need a namespace.
 */
class WatchedSource {
 public:
  virtual ~WatchedSource() = default;

  virtual const char* name() const = 0;
  virtual const char* noun() const = 0;  ///< of one event

  /** The node that is watched. */
  virtual std::string node() const = 0;

  /** Why it cannot be watched; empty when it can. */
  virtual std::string problem() const = 0;

  virtual void start() = 0;
  virtual void pause() = 0;

  virtual void print(const Recording& recording, std::ostream& out) const = 0;
  virtual nlohmann::ordered_json figures(const Recording& recording) const = 0;
  virtual void addTo(TraceWriter& trace, const Recording& recording) const = 0;

  const EventRecorder& recorder() const { return mRecorder; }

 protected:
  explicit WatchedSource(Unit unit) : mRecorder(unit) {}

  EventRecorder mRecorder;
  ConfigOverrides mOverrides;
};

class WatchedVsyncs final : public WatchedSource {
 public:
  /** Watches a sample, or the node at path, or with an empty path the configured one. */
  WatchedVsyncs(bool sample, const std::string& path);

  const char* name() const override { return "vsync"; }
  const char* noun() const override { return "event"; }
  std::string node() const override;
  std::string problem() const override;
  void start() override;
  void pause() override;
  void print(const Recording& recording, std::ostream& out) const override;
  nlohmann::ordered_json figures(const Recording& recording) const override;
  void addTo(TraceWriter& trace, const Recording& recording) const override;

 private:
  std::optional<HostNameDisplay> mSample;
};

class WatchedFrames final : public WatchedSource {
 public:
  /** As WatchedVsyncs; value switches reports on at the control node, at controlPath or configured. */
  WatchedFrames(bool sample, const std::string& path, const std::string& controlPath, int value);

  const char* name() const override { return "gfx"; }
  const char* noun() const override { return "frame"; }
  std::string node() const override;
  std::string problem() const override;

  /** Why reports cannot be switched on; empty when they can. */
  std::string controlProblem() const;

  void start() override;
  void pause() override;
  void print(const Recording& recording, std::ostream& out) const override;
  nlohmann::ordered_json figures(const Recording& recording) const override;
  void addTo(TraceWriter& trace, const Recording& recording) const override;

 private:
  const int mControlValue;
  std::optional<FifoFrames> mSample;
  android::base::unique_fd
      mWriter;  ///< of the node, if it is a FIFO: without one it would be at its end
};
