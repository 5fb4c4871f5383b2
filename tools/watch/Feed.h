#pragma once

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include <android-base/unique_fd.h>

#include "testing/Clock.h"
#include "testing/HostNameNode.h"
#include "testing/TemporaryFolder.h"

/** Makes events on a node, for the library to report, and counts them. */
class Feed {
 public:
  static constexpr int kRateHz = 60;
  static constexpr Clock::duration kPeriod = std::chrono::nanoseconds(1'000'000'000 / kRateHz);

  virtual ~Feed() = default;

  virtual std::string node() const = 0;

  /** The node that switches reports of frames on, at a rate in Hz. */
  virtual std::string controlNode() const { return ""; }

  virtual void start() = 0;
  virtual void stop() = 0;

  /** Events since start(). */
  virtual std::size_t count() const = 0;

  /** When they were made, as far as is known. To be called after stop(). */
  virtual std::vector<Clock::time_point> notified() const { return {}; }
};

/** Makes the events on a thread of this process. */
class ThreadFeed : public Feed {
 public:
  void start() final;
  void stop() final;
  std::size_t count() const final { return mCount; }

 private:
  /** Makes the event of a refresh, counted from 0; returns whether there is one. */
  virtual bool make(long long refresh) = 0;

  void run();

  std::atomic<bool> mStopped = false;
  std::atomic<std::size_t> mCount = 0;
  std::thread mThread;
};

/** Notifies the host name node, as a display does a vsync node. */
class HostNameDisplay final : public ThreadFeed {
 public:
  ~HostNameDisplay() override { stop(); }

  std::string node() const override { return HostNameNode::kPath; }
  std::vector<Clock::time_point> notified() const override { return mNotified; }

 private:
  bool make(long long refresh) override;

  const HostNameNode mNode;
  std::vector<Clock::time_point> mNotified;
};

/**
 * Writes frames to a FIFO. Now and then one takes too long, so that the next misses a refresh, and one
 * is dropped before its third stage.
 */
class FifoFrames final : public ThreadFeed {
 public:
  /** Throws std::runtime_error when the FIFO cannot be made. */
  FifoFrames();
  ~FifoFrames() override { stop(); }

  std::string node() const override { return mFolder.path() + "/frames"; }
  std::string controlNode() const override { return mFolder.path() + "/control"; }

 private:
  bool make(long long refresh) override;

  const TemporaryFolder mFolder;
  android::base::unique_fd mFifo;
};

/** Has the simulated device, or another driver that offers the same nodes, make events. */
class DeviceFeed final : public Feed {
 public:
  /** The names of its nodes, and the text that stops the events. */
  struct Nodes {
    const char* events;
    const char* count;
    const char* rate;
    int off;
  };
  static constexpr Nodes kVsyncs = {"vsync", "vsyncs", "vsync_rate", 0};
  static constexpr Nodes kFrames = {"frame_data", "frames", "frame_ctrl", -1};

  DeviceFeed(const std::string& folder, const Nodes& nodes)
      : mFolder(folder + "/"), mNodes(nodes) {}

  std::string node() const override { return mFolder + mNodes.events; }
  std::string controlNode() const override { return mFolder + mNodes.rate; }
  void start() override;
  void stop() override;
  std::size_t count() const override { return static_cast<std::size_t>(made() - mMadeBefore); }

 private:
  long long made() const;

  const std::string mFolder;
  const Nodes& mNodes;
  long long mMadeBefore = 0;
};
