#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <future>
#include <stdexcept>
#include <utility>
#include <vector>

#include "AsyncEventsMgr.h"
#include "EventRecorder.h"
#include "FailingNew.h"
#include "HostCore.h"
#include "HostNameNode.h"
#include "LogCapture.h"
#include "TestSource.h"
#include "config/DynamicLoader.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr auto kLimit = std::chrono::seconds(10);

/** A second callback beside EventRecorder::onEvent. */
void checkArguments(int event, void* payload, int zero, void* recorder) {
  EXPECT_EQ(event, 1);
  EXPECT_EQ(payload, nullptr);
  EXPECT_EQ(zero, 0);
  EventRecorder::onEvent(event, payload, zero, recorder);
}

class Vsync : public testing::Test {
 protected:
  Vsync() { hostcore::setItem(kVsyncNodeItem, HostNameNode::kPath); }

  /** Notifies until an event arrives: the polling thread may not have opened the node yet. */
  void notifyUntilReceived(const EventRecorder& recorder) const {
    const std::size_t before = recorder.count();
    const auto end = Clock::now() + kLimit;
    do {
      mNode.notify();
    } while (!recorder.waitFor(before + 1, std::chrono::milliseconds(10)) && Clock::now() < end);
    ASSERT_GT(recorder.count(), before);
  }

  /** Waits until a thread other than this one waits on a condition or lock. */
  static void waitUntilAsleep() {
    const auto end = Clock::now() + kLimit;
    while (Clock::now() < end) {
      for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        long number = 0;
        if (task.path().filename() != std::to_string(gettid()) &&
            std::ifstream(task.path() / "syscall") >> number && number == SYS_futex) {
          return;
        }
      }
      std::this_thread::yield();
    }
    FAIL() << "no thread went to sleep";
  }

  const HostNameNode mNode;
  const LogCapture mLog;
  EventRecorder mFirst;
  EventRecorder mSecond;
};

TEST_F(Vsync, LosesNoAwaitedEvent) {
  TestSource source(mNode);
  source.registerCallBack(EventRecorder::onEvent, &mFirst);
  source.startEvent(EventRecorder::onEvent);
  notifyUntilReceived(mFirst);
  for (int i = 0; i < 10000; ++i) {
    const std::size_t before = mFirst.count();
    mNode.notify();
    ASSERT_TRUE(mFirst.waitFor(before + 1, kLimit)) << i;
  }
}

TEST_F(Vsync, CallsOnlyStartedCallbacksWithTheirPointers) {
  TestSource source(mNode);
  source.registerCallBack(EventRecorder::onEvent, &mFirst);
  source.registerCallBack(checkArguments, &mSecond);
  source.startEvent(checkArguments);
  notifyUntilReceived(mSecond);
  EXPECT_EQ(mFirst.count(), 0u);
  source.startEvent(EventRecorder::onEvent);
  notifyUntilReceived(mFirst);
  source.pauseEvent(EventRecorder::onEvent);
  const std::size_t whenPaused = mFirst.count();
  for (int i = 0; i < 10; ++i) {
    notifyUntilReceived(mSecond);
  }
  EXPECT_EQ(mFirst.count(), whenPaused);
}

TEST_F(Vsync, APausedSourceSleepsAndResumes) {
  TestSource source(mNode);
  source.registerCallBack(EventRecorder::onEvent, &mFirst);
  for (int round = 0; round < 20; ++round) {
    source.startEvent(EventRecorder::onEvent);
    notifyUntilReceived(mFirst);
    source.pauseEvent(EventRecorder::onEvent);
    const std::size_t whenPaused = mFirst.count();
    mNode.notify();  // ends the poll that was under way
    waitUntilAsleep();
    EXPECT_EQ(mFirst.count(), whenPaused);
  }
}

TEST_F(Vsync, SurvivesAStormOfClients) {
  TestSource source(mNode);
  source.registerCallBack(EventRecorder::onEvent, &mFirst);
  source.registerCallBack(checkArguments, &mSecond);
  std::vector<std::thread> clients;
  for (int i = 0; i < 4; ++i) {
    clients.emplace_back([&, cb = i % 2 == 0 ? EventRecorder::onEvent : checkArguments] {
      for (int round = 0; round < 500; ++round) {
        source.startEvent(cb);
        source.registerCallBack([](int, void*, int, void*) {}, nullptr);
        source.processCb();
        mNode.notify();
        source.pauseEvent(cb);
      }
    });
  }
  for (std::thread& client : clients) {
    client.join();
  }
  EXPECT_EQ(source.getThreadState(), THREAD_PAUSED);
  source.startEvent(checkArguments);
  notifyUntilReceived(mSecond);
}

TEST_F(Vsync, GetInstanceConstructsOnce) {
  struct CountingStore final : ConfigStore {
    int lookup(int item, char*) override {
      EXPECT_EQ(item, kVsyncNodeItem);
      ++mLookups;
      return -1;
    }
    std::atomic<int> mLookups = 0;
  } store;
  ConfigStore* const usual = std::exchange(DynamicLoader::getInstance()->mStore, &store);
  std::vector<std::thread> threads;
  std::vector<VsyncEvent*> instances(8);
  for (VsyncEvent*& instance : instances) {
    threads.emplace_back([&instance] { instance = VsyncEvent::getInstance(); });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  DynamicLoader::getInstance()->mStore = usual;
  EXPECT_THAT(instances, testing::Each(VsyncEvent::getInstance()));
  EXPECT_EQ(store.mLookups, 1);
}

/** A running thread ends with its poll, a paused one only once somebody wakes it. */
TEST_F(Vsync, DestructionWaitsForTheThreadAndWakesNobody) {
  for (const bool paused : {false, true}) {
    auto* const open = new OpenSource;
    std::mutex& condLck = open->mThreadCondLck;
    std::condition_variable& cond = open->mThreadCond;
    VsyncEvent* const source = open;
    source->registerCallBack(EventRecorder::onEvent, &mFirst);
    source->startEvent(EventRecorder::onEvent);
    notifyUntilReceived(mFirst);
    if (paused) {
      source->pauseEvent(EventRecorder::onEvent);
      mNode.notify();  // ends the poll that was under way
      waitUntilAsleep();
    }
    auto destruction = std::async(std::launch::async, [source] { delete source; });
    if (paused) {
      while (source->getThreadState() != THREAD_EXIT) {
        std::this_thread::yield();
      }
      EXPECT_EQ(destruction.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
      std::lock_guard lock(condLck);
      cond.notify_all();
    }
    const auto end = Clock::now() + kLimit;
    do {
      mNode.notify();
      ASSERT_LT(Clock::now(), end);
    } while (destruction.wait_for(std::chrono::milliseconds(10)) != std::future_status::ready);
  }
  VsyncEvent neverStarted;
}

TEST_F(Vsync, ANodeThatCannotBeOpenedIsLoggedOnceAndNeverTriedAgain) {
  const int input = dup(STDIN_FILENO);
  close(STDIN_FILENO);  // so that a node opens as descriptor 0
  std::vector<std::string> expected;
  for (const char* const node : {"", "/nowhere/vsync", "no store", HostNameNode::kPath}) {
    const std::string path = node == std::string("no store") ? "" : node;
    hostcore::setItem(kVsyncNodeItem, path);
    hostcore::enableStore(path == node);
    TestSource source(mNode);
    source.registerCallBack(EventRecorder::onEvent, &mFirst);
    source.startEvent(EventRecorder::onEvent);
    expected.push_back("AsyncEventsMgr: pollingThreadFunc() Not able to open (" + path + ") fd(" +
                       (path == HostNameNode::kPath ? "0" : "-1") + ") \n");
    EXPECT_EQ(mLog.waitFor(expected.size()), expected);
    source.pauseEvent(EventRecorder::onEvent);
    source.startEvent(EventRecorder::onEvent);
    EXPECT_TRUE(source.hasThread());
  }
  dup2(input, STDIN_FILENO);
  EXPECT_EQ(mLog.texts(), expected);
}

TEST_F(Vsync, AThreadThatCannotBeCreatedIsTriedAgainByTheNextStart) {
  TestSource source(mNode);
  source.registerCallBack(EventRecorder::onEvent, &mFirst);

  failingnew::gNothrow = 1;
  source.startEvent(EventRecorder::onEvent);
  EXPECT_FALSE(source.hasThread());
  EXPECT_THAT(mLog.texts(), IsEmpty());
  source.pauseEvent(EventRecorder::onEvent);

  pthread_attr_t usual;
  pthread_getattr_default_np(&usual);
  pthread_attr_t huge = usual;
  pthread_attr_setstacksize(&huge, std::size_t{1} << 60);  // no address space holds it
  ASSERT_EQ(pthread_setattr_default_np(&huge), 0);
  source.startEvent(EventRecorder::onEvent);
  pthread_setattr_default_np(&usual);
  EXPECT_FALSE(source.hasThread());
  EXPECT_THAT(mLog.texts(), ElementsAre("AsyncEventsMgr: startThread() Thread Creation Failed"));
  source.pauseEvent(EventRecorder::onEvent);

  source.startEvent(EventRecorder::onEvent);
  notifyUntilReceived(mFirst);
}

TEST_F(Vsync, ProcessCbPassesOnWhatACallbackThrows) {
  hostcore::setItem(kVsyncNodeItem, "");  // no events: on the polling thread nobody would catch it
  TestSource source(mNode);
  const auto throws = [](int, void*, int, void*) { throw std::runtime_error("client"); };
  source.registerCallBack(throws, nullptr);
  source.startEvent(throws);
  for (int i = 0; i < 2; ++i) {  // the second call would hang if the registry were still locked
    EXPECT_THROW(source.processCb(), std::runtime_error);
  }
}

}  // namespace
