#include <gmock/gmock.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <fstream>
#include <future>
#include <stdexcept>

#include "HostCore.h"
#include "config/DynamicLoader.h"
#include "testing/BackgroundCall.h"
#include "testing/EventRecorder.h"
#include "testing/FailingNew.h"
#include "testing/Folders.h"
#include "testing/Hooks.h"
#include "testing/LogCapture.h"
#include "testing/SystemCallOf.h"
#include "testing/TestSource.h"
#include "testing/WithoutThreads.h"

static std::atomic<int> gPolledEvents;
static std::atomic<int> gPollTimeoutMs;

/** Notes what the polling thread asks for. */
extern "C" int poll(pollfd* fds, nfds_t count, int timeoutMs) {
  static const auto real = REAL(poll);
  gPolledEvents = count == 1 ? fds->events : 0;
  gPollTimeoutMs = timeoutMs;
  return real(fds, count, timeoutMs);
}

namespace {

constexpr auto kLimit = std::chrono::seconds(10);
constexpr auto kOther = EventRecorder::onEvent;

std::atomic<pid_t> gPollingThread;

#ifdef SYS_poll
constexpr long kPollCall = SYS_poll;
#else
constexpr long kPollCall = SYS_ppoll;
#endif

std::atomic<int> gSignals;

/** A second callback beside kOther. */
void checkArguments(int event, void* payload, int zero, void* recorder) {
  gPollingThread = gettid();
  EXPECT_TRUE(event == 1 && payload == nullptr && zero == 0);
  EventRecorder::onEvent(event, payload, zero, recorder);
}

class Vsync : public testing::Test {
 protected:
  Vsync() { registerAt(mSource); }

  static void SetUpTestSuite() { hostcore::setItem(22, HostNameNode::kPath); }

  void registerAt(VsyncEvent& source) {
    source.registerCallBack(checkArguments, &mFirst);
    source.registerCallBack(kOther, &mSecond);
  }

  /** Notifies until an event arrives: the polling thread may not have opened the node yet. */
  void notifyUntilReceived(const EventRecorder& recorder) const {
    const std::size_t before = recorder.count();
    const auto end = Clock::now() + kLimit;
    while (!recorder.waitFor(before + 1, std::chrono::milliseconds(10))) {
      ASSERT_LT(Clock::now(), end);
      mNode.notify();
    }
  }

  /** Waits until the polling thread waits on a condition or lock. */
  void waitUntilAsleep() const {
    mNode.notify();  // ends the poll that was under way
    waitUntilIn(SYS_futex, gPollingThread);
  }

  const HostNameNode mNode;
  const LogCapture mLog;
  EventRecorder mFirst;
  EventRecorder mSecond;
  TestSource mSource{mNode};
};

TEST_F(Vsync, LosesNoAwaitedEventAndCallsOnlyTheStartedOne) {
  mSource.startEvent(checkArguments);
  notifyUntilReceived(mFirst);
  for (int i = 0; i < 10000; ++i) {
    const std::size_t before = mFirst.count();
    mNode.notify();
    ASSERT_TRUE(mFirst.waitFor(before + 1, kLimit)) << i;
  }
  EXPECT_EQ(mSecond.count(), 0u);
}

/** Where this process would read next from the file at path. */
std::string positionIn(const std::string& path) {
  std::string position;
  for (const std::string& fd : namesIn("/proc/self/fd")) {
    struct stat open = {};
    struct stat wanted = {};
    if (stat(("/proc/self/fd/" + fd).c_str(), &open) == 0 && stat(path.c_str(), &wanted) == 0 &&
        open.st_dev == wanted.st_dev && open.st_ino == wanted.st_ino) {
      std::ifstream("/proc/self/fdinfo/" + fd) >> position >> position;
    }
  }
  return position;
}

/** An attribute of sysfs notifies when it is opened and read for the first time, then no more. */
TEST_F(Vsync, ReadsAndRewindsTheNodeAndDeliversNothingWithoutANotification) {
  const std::string node = "/sys/devices/system/cpu/online";
  hostcore::setItem(22, node);
  VsyncEvent source;
  hostcore::setItem(22, HostNameNode::kPath);
  registerAt(source);
  source.startEvent(checkArguments);
  EXPECT_TRUE(mFirst.waitFor(1, kLimit));
  std::signal(SIGUSR1, [](int) { ++gSignals; });
  int signals = 0;
  for (const int state : {THREAD_RUNNING, THREAD_EXIT}) {
    waitUntilIn(kPollCall, gPollingThread);
    EXPECT_EQ(positionIn(node), "0");
    EXPECT_EQ(gPolledEvents, POLLPRI);
    EXPECT_EQ(gPollTimeoutMs, 300000);
    EXPECT_EQ(mFirst.count(), 1u);
    source.setThreadState(state);
    syscall(SYS_tgkill, getpid(), gPollingThread.load(), SIGUSR1);  // the poll fails
    const auto end = Clock::now() + kLimit;
    for (++signals; gSignals < signals && Clock::now() < end;) {
      std::this_thread::yield();
    }
  }
  VsyncEvent::pollingThreadFunc(nullptr);
}

TEST_F(Vsync, ItsThreadHasAName) {
  mSource.startEvent(checkArguments);
  notifyUntilReceived(mFirst);
  EXPECT_EQ(nameOf(gPollingThread), "LmVsyncEvent");
}

TEST_F(Vsync, DeliveryWaitsForTheRegistry) {
  struct Open : VsyncEvent {
    using AsyncEvent::mCallbacksLck;
  } source;
  EXPECT_TRUE(waitsFor(source.mCallbacksLck, [&] { source.processCb(); }));
}

TEST_F(Vsync, PausedCallbacksRestAndTheSourceSleepsOnceAllAre) {
  for (int round = 0; round < 20; ++round) {
    mSource.startEvent(kOther);
    mSource.startEvent(checkArguments);
    notifyUntilReceived(mSecond);
    mSource.pauseEvent(kOther);
    const std::size_t whenPaused = mSecond.count();
    notifyUntilReceived(mFirst);
    mSource.pauseEvent(checkArguments);
    const std::size_t whenAllPaused = mFirst.count();
    waitUntilAsleep();
    EXPECT_EQ(mFirst.count(), whenAllPaused);
    EXPECT_EQ(mSecond.count(), whenPaused);
  }
}

TEST_F(Vsync, GetInstanceConstructsOnce) {
  struct CountingStore final : ConfigStore {
    int lookup(int, char*) override {
      ++mLookups;
      return -1;
    }
    std::atomic<int> mLookups = 0;
  } store;
  ConfigStore* const usual = std::exchange(DynamicLoader::getInstance()->mStore, &store);
  std::vector<std::future<VsyncEvent*>> instances(8);
  for (auto& instance : instances) {
    instance = std::async(std::launch::async, VsyncEvent::getInstance);
  }
  for (auto& instance : instances) {
    EXPECT_EQ(instance.get(), VsyncEvent::getInstance());
  }
  DynamicLoader::getInstance()->mStore = usual;
  EXPECT_EQ(store.mLookups, 1);
}

/** A running thread ends with its poll, a paused one only once somebody wakes it. */
TEST_F(Vsync, DestructionWaitsForTheThreadAndWakesNobody) {
  for (const bool paused : {false, true}) {
    auto* const source = new VsyncEvent;
    registerAt(*source);
    source->startEvent(checkArguments);
    notifyUntilReceived(mFirst);
    if (paused) {
      source->pauseEvent(checkArguments);
      waitUntilAsleep();
    }
    auto destruction = std::async(std::launch::async, [source] { delete source; });
    if (paused) {
      EXPECT_EQ(destruction.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
      source->startEvent(checkArguments);  // wakes the thread
    }
    do {
      mNode.notify();
    } while (destruction.wait_for(std::chrono::milliseconds(10)) != std::future_status::ready);
  }
  VsyncEvent neverStarted;
}

/** Here no event comes while a callback throws: on the polling thread nobody would catch it. */
TEST_F(Vsync, ANodeThatCannotBeOpenedIsLoggedOnceAndNeverTriedAgain) {
  const int input = dup(STDIN_FILENO);
  close(STDIN_FILENO);  // so that a node opens as descriptor 0
  std::vector<std::string> expected;
  for (const char* const node : {"", "/nowhere/vsync", "no store", HostNameNode::kPath}) {
    const std::string path = node == std::string("no store") ? "" : node;
    hostcore::setItem(22, path);
    hostcore::enableStore(path == node);
    TestSource source(mNode);
    const auto throws = [](int, void*, int, void*) { throw std::runtime_error("client"); };
    source.registerCallBack(throws, nullptr);
    source.startEvent(throws);
    expected.push_back("AsyncEventsMgr: pollingThreadFunc() Not able to open (" + path + ") fd(" +
                       (path == HostNameNode::kPath ? "0" : "-1") + ") \n");
    EXPECT_EQ(mLog.waitFor(expected.size()), expected);
    EXPECT_THROW(source.processCb(), std::runtime_error);
    source.pauseEvent(throws);  // would hang if the registry were still locked
    source.startEvent(throws);
    EXPECT_TRUE(source.hasThread());
  }
  dup2(input, STDIN_FILENO);
  EXPECT_EQ(mLog.texts(), expected);
}

TEST_F(Vsync, AThreadThatCannotBeCreatedIsTriedAgainByTheNextStart) {
  failingnew::gNothrow = 1;
  mSource.startEvent(checkArguments);
  EXPECT_FALSE(mSource.hasThread());
  EXPECT_TRUE(mLog.texts().empty());
  mSource.pauseEvent(checkArguments);

  withoutThreads([this] { mSource.startEvent(checkArguments); });
  EXPECT_FALSE(mSource.hasThread());
  EXPECT_THAT(mLog.texts(),
              testing::ElementsAre("AsyncEventsMgr: startThread() Thread Creation Failed"));
  mSource.pauseEvent(checkArguments);

  mSource.startEvent(checkArguments);
  notifyUntilReceived(mFirst);
}

}  // namespace
