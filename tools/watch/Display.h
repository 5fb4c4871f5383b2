#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "testing/Clock.h"
#include "testing/HostNameNode.h"

class VsyncEvent;

/** Something that notifies a vsync node once a period, and knows when it did. */
class Display {
 public:
  static constexpr int kRateHz = 60;
  static constexpr Clock::duration kPeriod = std::chrono::nanoseconds(1'000'000'000 / kRateHz);

  virtual ~Display() = default;

  virtual std::string node() const = 0;

  /** Raises one event of a source that is about to poll the node or polls it already. */
  virtual void raise() = 0;

  virtual void start(VsyncEvent& source) = 0;
  virtual void stop() = 0;

  /** Notifications since start(). */
  virtual std::size_t count() const = 0;

  /** When they were raised, as far as is known. To be called after stop(). */
  virtual const std::vector<Clock::time_point>& notified() const = 0;
};

/** A thread that notifies the host name node. */
class HostNameDisplay final : public Display {
 public:
  ~HostNameDisplay() override { stop(); }

  std::string node() const override { return HostNameNode::kPath; }
  void raise() override { mNode.notify(); }
  void start(VsyncEvent& source) override;
  void stop() override;
  std::size_t count() const override { return mCount; }
  const std::vector<Clock::time_point>& notified() const override { return mNotified; }

 private:
  void run();

  const HostNameNode mNode;
  std::atomic<bool> mStopped = false;
  std::atomic<std::size_t> mCount = 0;
  std::vector<Clock::time_point> mNotified;
  std::thread mThread;
};

/** The nodes of the simulated device, or of another driver that offers the same. */
class DeviceDisplay final : public Display {
 public:
  /** Throws std::runtime_error when folder does not hold the nodes. */
  explicit DeviceDisplay(std::string folder);

  std::string node() const override { return mFolder + "/vsync"; }
  void raise() override {}  // the first poll of a sysfs node returns at once
  void start(VsyncEvent& source) override;
  void stop() override;
  std::size_t count() const override;
  const std::vector<Clock::time_point>& notified() const override { return mNotified; }

 private:
  /** The number that a node of the folder shows. */
  long long read(const char* name) const;

  static void noteNotification(int event, void* payload, int zero, void* display);

  const std::string mFolder;
  VsyncEvent* mSource = nullptr;
  long long mCountBefore = 0;
  std::vector<Clock::time_point> mNotified;
};
