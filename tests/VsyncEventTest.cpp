#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <atomic>

#include "HostCore.h"
#include "config/DynamicLoader.h"
#include "testing/Hooks.h"
#include "testing/TestSource.h"
#include "testing/Threads.h"

/** What the polling thread asked for last. */
static std::atomic<int> gPolledEvents;
static std::atomic<int> gPollTimeoutMs;
static std::atomic<off_t> gPolledPosition;
static std::atomic<int> gPolledFlags;

static std::atomic<int> gPolls;
static std::atomic<bool> gPollsAreShort;

/** Notes what is asked for. Short ones time out at once, and every other of those fails. */
extern "C" int poll(pollfd* fds, nfds_t count, int timeoutMs) {
  static const auto real = REAL(poll);
  gPolledEvents = count == 1 ? fds->events : 0;
  gPollTimeoutMs = timeoutMs;
  gPolledPosition = lseek(fds->fd, 0, SEEK_CUR);
  gPolledFlags = fcntl(fds->fd, F_GETFD);
  const int poll = ++gPolls;
  const int result = real(fds, count, gPollsAreShort ? 0 : timeoutMs);
  return result == 0 && poll % 2 == 0 ? -1 : result;
}

namespace {

/** Counts events. The number only makes it a callback of its own. */
template <int>
void count(int event, void* payload, int zero, void* events) {
  EXPECT_TRUE(event == 1 && payload == nullptr && zero == 0);
  ++*static_cast<std::atomic<int>*>(events);
}

constexpr AsyncEventCallback kFirst = count<1>;
constexpr AsyncEventCallback kSecond = count<2>;

class Vsync : public testing::Test {
 protected:
  Vsync() { hostcore::setItem(kVsyncNodeItem, HostNameNode::kPath); }

  /** Notifies until an event arrives: the polling thread may not have opened the node yet. */
  void notifyUntilCounted(const std::atomic<int>& events) const {
    const int before = events;
    waitUntil([&] { return mNode.notify(), events > before; });
  }

  const HostNameNode mNode;
  std::atomic<int> mFirst = 0;
  std::atomic<int> mSecond = 0;
};

TEST_F(Vsync, EachNotificationReachesTheActiveCallbacksOnly) {
  TestSource source(mNode);
  source.registerCallBack(kFirst, &mFirst);
  source.registerCallBack(kSecond, &mSecond);
  source.startEvent(kFirst);
  notifyUntilCounted(mFirst);
  EXPECT_EQ(mSecond, 0);
  source.startEvent(kSecond);
  notifyUntilCounted(mSecond);
  source.pauseEvent(kSecond);
  const int whenPaused = mSecond;
  notifyUntilCounted(mFirst);
  source.pauseEvent(kFirst);
  const int whenAllPaused = mFirst;
  waitUntil([this] { return mNode.notify(), isAsleep("LmVsyncEvent"); });
  EXPECT_EQ(mFirst, whenAllPaused);
  EXPECT_EQ(mSecond, whenPaused);
  source.startEvent(kFirst);
  notifyUntilCounted(mFirst);
}

/** An attribute of sysfs notifies once, when it is opened, and until it is read. */
TEST_F(Vsync, ANotificationIsConsumedOnceAndAFailedWaitIsNoEvent) {
  hostcore::setItem(kVsyncNodeItem, "/sys/devices/system/cpu/online");
  gPollsAreShort = true;
  {
    VsyncEvent source;
    source.registerCallBack(kFirst, &mFirst);
    source.startEvent(kFirst);
    waitUntil([end = gPolls + 10] { return gPolls >= end; });
    EXPECT_EQ(mFirst, 1);
    EXPECT_EQ(gPolledEvents, POLLPRI);
    EXPECT_EQ(gPollTimeoutMs, 300000);
    EXPECT_EQ(gPolledPosition, 0);
    EXPECT_EQ(gPolledFlags, 0);  // programs that a client starts inherit the node
  }
  gPollsAreShort = false;
}

}  // namespace
