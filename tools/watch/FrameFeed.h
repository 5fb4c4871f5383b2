#pragma once

#include <atomic>
#include <string>
#include <thread>

#include <android-base/unique_fd.h>

#include "testing/TemporaryFolder.h"

/** Something that reports frames at 60 Hz, and knows what it reported. */
class FrameFeed {
 public:
  virtual ~FrameFeed() = default;

  virtual std::string node() const = 0;
  virtual std::string controlNode() const = 0;
  virtual int controlValue() const = 0;  ///< for "on"

  virtual void start() = 0;
  virtual void stop() = 0;

  /** Frames since start(). */
  virtual std::size_t count() const = 0;

  /** "118 frames   3 late   2 dropped". To be called after stop(). */
  virtual std::string text() const = 0;
};

/**
 * A thread that writes frames to a FIFO, each when it is finished. Now and then one takes too long,
 * so that the next misses a refresh, and one is dropped before its third stage.
 */
class FifoFrames final : public FrameFeed {
 public:
  /** Throws std::runtime_error when the FIFO cannot be made. */
  FifoFrames();
  ~FifoFrames() override { stop(); }

  std::string node() const override { return mFolder.path() + "/frames"; }
  std::string controlNode() const override { return mFolder.path() + "/control"; }
  int controlValue() const override { return 1; }
  void start() override;
  void stop() override;
  std::size_t count() const override { return mCount; }
  std::string text() const override;

 private:
  void run();

  const TemporaryFolder mFolder;
  android::base::unique_fd mFifo;
  std::atomic<bool> mStopped = false;
  std::atomic<std::size_t> mCount = 0;
  std::size_t mLate = 0;
  std::size_t mDropped = 0;
  std::thread mThread;
};

/** The nodes of the simulated device, or of another driver that offers the same. */
class DeviceFrames final : public FrameFeed {
 public:
  explicit DeviceFrames(std::string folder) : mFolder(std::move(folder)) {}

  std::string node() const override { return mFolder + "/frame_data"; }
  std::string controlNode() const override { return mFolder + "/frame_ctrl"; }
  int controlValue() const override;
  void start() override { mCountBefore = made(); }
  void stop() override;
  std::size_t count() const override { return static_cast<std::size_t>(made() - mCountBefore); }
  std::string text() const override { return std::to_string(count()) + " frames"; }

 private:
  long long made() const;

  const std::string mFolder;
  long long mCountBefore = 0;
};
