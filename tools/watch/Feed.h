#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "testing/Clock.h"
#include "watch/Recording.h"

/** Makes events on a node, from a thread of this process, for the library to report. */
class Feed {
 public:
  static constexpr int kRateHz = 60;
  static constexpr Clock::duration kPeriod = std::chrono::nanoseconds(1'000'000'000 / kRateHz);

  /** Makes the event of a refresh, counted from 0; returns whether there is one. */
  using MakeEvent = std::function<bool(long long refresh)>;

  Feed(const std::string& node, MakeEvent make) : mNode(node), mMake(std::move(make)) {}
  ~Feed() { stop(); }
  Feed(const Feed&) = delete;
  Feed& operator=(const Feed&) = delete;

  const std::string& node() const { return mNode; }

  void start();

  /** Stops for good; returns when events were made. */
  const std::vector<Clock::time_point>& stop();

 private:
  void run();

  const std::string mNode;
  const MakeEvent mMake;
  std::atomic<bool> mStopped = false;
  std::vector<Clock::time_point> mTimes{};
  std::thread mThread{};
};

/**
 * Notifies the host name node, as a display does a vsync node, or writes frames to a FIFO. Throws
 * std::system_error when a namespace is refused, and std::runtime_error without a FIFO.
 */
std::unique_ptr<Feed> makeFeed(const EventKind& kind);
