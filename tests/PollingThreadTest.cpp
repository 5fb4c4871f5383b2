#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <functional>
#include <memory>
#include <stdexcept>

#include "HostCore.h"
#include "config/DynamicLoader.h"
#include "testing/BackgroundCall.h"
#include "testing/FailingNew.h"
#include "testing/LogCapture.h"
#include "testing/TemporaryFolder.h"
#include "testing/TestSource.h"
#include "testing/Threads.h"

namespace {

void onEvent(int, void*, int, void*) {}

/** What the threads of all sources have in common. */
class PollingThread : public testing::Test {
 protected:
  struct Kind {
    std::string component;  ///< of its log lines
    std::string threadName;
    std::function<std::unique_ptr<AsyncEvent>()> make;  ///< a source to destroy in any state
    int nodeItem = 0;
    std::function<AsyncEvent*()> makeUsual = nullptr;
    std::function<void()> report = nullptr;  ///< ends the thread's wait for its node
  };

  PollingThread() {
    EXPECT_EQ(mkfifo(mFifo.c_str(), 0600), 0);
    hostcore::setItem(kVsyncNodeItem, HostNameNode::kPath);
    hostcore::setItem(kGfxDataNodeItem, mFifo);
  }

  const HostNameNode mNode;
  const TemporaryFolder mFolder;
  const std::string mFifo = mFolder.path() + "/frames";
  const Kind mVsync = {"AsyncEventsMgr",
                       "LmVsyncEvent",
                       [this] { return std::make_unique<TestSource>(mNode); },
                       kVsyncNodeItem,
                       [] { return new VsyncEvent; },
                       [this] { mNode.notify(); }};
  const Kind mGfx = {"AsyncEventsMgr_GFX",
                     "LmGfxEvent",
                     [this] { return std::make_unique<TestGfxSource>(mFifo); },
                     kGfxDataNodeItem,
                     [] { return new GfxEvent; },
                     [this] { FrameNode(mFifo).report(":"); }};
  const Kind mThermal = {"AsyncEventsMgr_Thermal", "LmThermalEvent",
                         std::make_unique<TestThermalSource>};
};

TEST_F(PollingThread, IsTriedAgainByTheNextStartIfItCannotBeCreated) {
  for (const Kind* const kind : {&mVsync, &mGfx, &mThermal}) {
    SCOPED_TRACE(kind->threadName);
    const LogCapture log;
    const auto source = kind->make();
    source->registerCallBack(onEvent, nullptr);
    failingnew::gNothrow = 1;  // of the thread's object
    source->startEvent(onEvent);
    EXPECT_TRUE(log.texts().empty());
    source->pauseEvent(onEvent);
    failingnew::gThrowing = 1;  // of what the thread starts with
    source->startEvent(onEvent);
    const std::string failure = kind->component + ": startThread() Thread Creation Failed";
    EXPECT_THAT(log.texts(), testing::ElementsAre(failure));
    source->pauseEvent(onEvent);
    source->startEvent(onEvent);
    waitUntil([kind] { return threadNamed(kind->threadName) != 0; });
  }
}

TEST_F(PollingThread, EndsForGoodIfItsNodeCannotBeOpened) {
  const int input = dup(STDIN_FILENO);
  const std::pair<std::string, std::string> pathsAndDescriptors[] = {
      {"/nowhere/node", "-1"}, {"/dev/null", "0"}, {"", "-1"}};
  for (const Kind* const kind : {&mVsync, &mGfx}) {
    for (const auto& [path, descriptor] : pathsAndDescriptors) {
      hostcore::setItem(kind->nodeItem, path);
      hostcore::enableStore(!path.empty());  // without a store, there is no path
      const LogCapture log;
      auto source = kind->make();
      source->registerCallBack(onEvent, nullptr);
      close(STDIN_FILENO);  // so that a node can be opened as descriptor 0
      source->startEvent(onEvent);
      waitUntil([&] { return !log.texts().empty() && threadNamed(kind->threadName) == 0; });
      source->pauseEvent(onEvent);
      source->startEvent(onEvent);  // creates no other thread, which would log again
      source.reset();
      EXPECT_EQ(failingnew::gUnfreed.load(), nullptr) << "the thread's object";
      EXPECT_THAT(log.texts(), testing::ElementsAre(kind->component +
                                                    ": pollingThreadFunc() Not able to open (" +
                                                    path + ") fd(" + descriptor + ") \n"));
      dup2(input, STDIN_FILENO);
    }
  }
  hostcore::enableStore(true);
  close(input);
}

TEST_F(PollingThread, IsAwaitedButNotWokenByDestruction) {
  for (const Kind* const kind : {&mVsync, &mGfx}) {
    for (const bool isPaused : {false, true}) {
      SCOPED_TRACE(kind->threadName + (isPaused ? " paused" : " running"));
      AsyncEvent* const source = kind->makeUsual();
      source->registerCallBack(onEvent, nullptr);
      source->startEvent(onEvent);
      if (isPaused) {
        source->pauseEvent(onEvent);
        waitUntil([kind] { return kind->report(), isAsleep(kind->threadName); });
      }
      const BackgroundCall destruction([source] { delete source; });
      if (isPaused) {
        EXPECT_TRUE(destruction.fallsAsleep());
        EXPECT_TRUE(isAsleep(kind->threadName));
        source->startEvent(onEvent);
      }
      waitUntil([&] { return kind->report(), destruction.hasEnded(); });
    }
  }
}

/** Delivers data to a callback that throws, once it has the registry's lock. */
template <typename Source, typename... Data>
void expectLockAndException(Data&... data) {
  struct Open : Source {
    using Source::mCallbacks;
    using Source::mCallbacksLck;
  } source;
  EXPECT_TRUE(waitsFor(source.mCallbacksLck, [&] { source.processCb(data...); }));
  const auto throws = [](int, void*, int, void*) { throw std::runtime_error("client"); };
  source.mCallbacks[throws] = {true, nullptr};
  EXPECT_THROW(source.processCb(data...), std::runtime_error);
  source.registerCallBack(onEvent, nullptr);  // would hang if the registry were still locked
}

TEST_F(PollingThread, LocksTheRegistryToDeliverAndPassesOnWhatACallbackThrows) {
  GfxFrameData frames;
  expectLockAndException<VsyncEvent>();
  expectLockAndException<GfxEvent>(frames);
}

TEST_F(PollingThread, BelongsToTheOneInstanceOfEachKind) {
  EXPECT_NE(VsyncEvent::getInstance(), nullptr);
  EXPECT_EQ(std::async(VsyncEvent::getInstance).get(), VsyncEvent::getInstance());
  EXPECT_NE(GfxEvent::getInstance(), nullptr);
  EXPECT_EQ(std::async(GfxEvent::getInstance).get(), GfxEvent::getInstance());
  EXPECT_NE(ThermalEvent::getInstance(), nullptr);
  EXPECT_EQ(std::async(ThermalEvent::getInstance).get(), ThermalEvent::getInstance());
  VsyncEvent::pollingThreadFunc(nullptr);  // does nothing
  GfxEvent::pollingThreadFunc(nullptr);
  ThermalEvent::pollingThreadFunc(nullptr);
}

}  // namespace
