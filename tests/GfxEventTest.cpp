#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <condition_variable>
#include <fstream>
#include <functional>
#include <optional>

#include "HostCore.h"
#include "config/DynamicLoader.h"
#include "testing/BackgroundCall.h"
#include "testing/FailingNew.h"
#include "testing/LogCapture.h"
#include "testing/TemporaryFolder.h"
#include "testing/TestSource.h"

namespace {

/** Keeps the last sample that it was told. */
struct Client {
  /** The number only makes it a callback of its own. */
  template <int>
  static void onEvent(int event, void* payload, int zero, void* client) {
    EXPECT_TRUE(event == 2 && zero == 0);
    auto* const self = static_cast<Client*>(client);
    std::lock_guard lock(self->mLck);
    self->mLast = *static_cast<const GfxFrameData*>(payload);
    self->mTold.notify_all();
  }

  bool waitFor(const GfxFrameData& sample) {
    std::unique_lock lock(mLck);
    return mTold.wait_for(lock, std::chrono::seconds(10),
                          [&] { return mLast && figures(*mLast) == figures(sample); });
  }

  std::mutex mLck;
  std::condition_variable mTold;
  std::optional<GfxFrameData> mLast;
};

constexpr AsyncEventCallback kFirst = Client::onEvent<1>;
constexpr AsyncEventCallback kSecond = Client::onEvent<2>;
constexpr AsyncEventCallback kUnknown = Client::onEvent<3>;

struct Source : TestGfxSource {
  using AsyncEvent::mCallbacksLck;
  using AsyncEvent::mFrameLock;
  using TestGfxSource::TestGfxSource;
};

class Gfx : public testing::Test {
 protected:
  Gfx() {
    EXPECT_EQ(mkfifo(mData.c_str(), 0600), 0);
    hostcore::setItem(kGfxDataNodeItem, mData);
    hostcore::setItem(kGfxCtrlNodeItem, mControl);
    mSource.emplace(mData);
    mSource->registerCallBack(kFirst, &mFirst);
    mSource->registerCallBack(kSecond, &mSecond);
  }

  /** What the control node was told last. */
  std::string control() const {
    std::ifstream file(mControl);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  const TemporaryFolder mFolder;
  const std::string mData = mFolder.path() + "/data";
  const std::string mControl = mFolder.path() + "/control";
  const LogCapture mLog;
  Client mFirst;
  Client mSecond;
  std::optional<Source> mSource;
};

TEST_F(Gfx, EachReadIsDeliveredAndFramesAreForgottenAtEachStartAndPause) {
  mSource->startEvent(kFirst, 120);
  mSource->report("0 1 1 1 10000:0 1 1 2 12000:0 1 1 3 18000:");
  EXPECT_TRUE(mFirst.waitFor({{6}, {10}, {2}}));
  const std::tuple<const char*, std::function<void()>> steps[] = {
      {"another starts", [this] { mSource->startEvent(kSecond, 60); }},
      {"another pauses", [this] { mSource->pauseEvent(kSecond); }},
  };
  std::string time = "20000";
  for (const auto& [name, operation] : steps) {
    mSource->report("0 1 1 1 " + time);
    EXPECT_TRUE(mFirst.waitFor({{}, {10}, {}})) << name;
    operation();
    mSource->report("0 1 1 2 99000:0 1 1 3 99000");
    EXPECT_TRUE(mFirst.waitFor({})) << name;
    ++time[0];
  }
}

TEST_F(Gfx, TheDriverIsToldBeforeTheCallbackChangesWhateverThatIs) {
  mSource->startEvent(kSecond, 1);
  const std::pair<const char*, AsyncEventCallback> cases[] = {
      {"inactive", kFirst}, {"active", kSecond}, {"unknown", kUnknown}, {"null", nullptr}};
  for (const auto& [name, cb] : cases) {
    SCOPED_TRACE(name);
    const std::pair<std::string, std::function<void()>> operations[] = {
        {"120", [this, cb = cb] { mSource->startEvent(cb, 120); }},
        {"-1", [this, cb = cb] { mSource->pauseEvent(cb); }}};
    for (const auto& [value, operation] : operations) {
      std::unique_lock registry(mSource->mCallbacksLck);
      const BackgroundCall call(operation);
      waitUntil([this, &value = value] { return control() == value; });
      registry.unlock();
    }
  }
}

TEST_F(Gfx, EachReadTakesAPageButTwoBytesFromTheBeginning) {
  const auto size = static_cast<std::size_t>(getpagesize());
  std::string text(size, ' ');
  text.replace(0, 16, "0 1 1 1 9000000:");
  text.replace(size - 16, 16, "0 1 1 2 90000123");  // the last two digits are not read
  const std::string file = mFolder.path() + "/file";
  std::ofstream(file) << text;
  hostcore::setItem(kGfxDataNodeItem, file);
  mSource->startEvent(kFirst, 1);
  EXPECT_TRUE(mFirst.waitFor({{}, {}, {900001 / 1000.0 - 9000}}));  // of a second read
}

TEST_F(Gfx, EachStartLooksTheNodesUpButTheThreadKeepsItsOwn) {
  mSource->startEvent(kFirst, 1);
  mSource->report("0 1 1 1 9000");
  EXPECT_TRUE(mFirst.waitFor({{}, {9}, {}}));  // so its node is open
  hostcore::setItem(kGfxDataNodeItem, "/");
  hostcore::setItem(kGfxCtrlNodeItem, mFolder.path() + "/other");
  mSource->startEvent(kFirst, 2);
  EXPECT_EQ(control(), "1");
  EXPECT_EQ(std::ifstream(mFolder.path() + "/other").get(), '2');
  mSource->report("0 1 1 1 20000");
  EXPECT_TRUE(mFirst.waitFor({{}, {11}, {}}));
}

TEST_F(Gfx, WithoutAStoreTheNodesStayAsTheyAre) {
  hostcore::enableStore(false);
  EXPECT_EQ(OpenGfxEvent().mGfxCtrlNode, "");
  mSource->startEvent(kFirst, 3);
  EXPECT_EQ(control(), "3");
  hostcore::enableStore(true);
}

TEST_F(Gfx, SamplesAreDeliveredThoughTheNodesFail) {
  hostcore::setItem(kGfxDataNodeItem, "/");  // which opens, but cannot be read
  hostcore::setItem(kGfxCtrlNodeItem, "/nowhere/control");
  mSource->startEvent(kFirst, 1);
  EXPECT_TRUE(mFirst.waitFor({}));
  EXPECT_THAT(mLog.texts(), testing::ElementsAre("AsyncEventsMgr: updateSysNodes() Unable to open "
                                                 "/nowhere/control file"));
}

TEST_F(Gfx, EachOperationWaitsForTheLockOfItsFrames) {
  hostcore::setItem(kGfxDataNodeItem, "/nowhere");
  mSource->setGfxSysNodes();
  char text[] = ":";
  GfxFrameData data;
  const std::pair<const char*, std::function<void()>> cases[] = {
      {"start", [&] { mSource->startEvent(nullptr, 1); }},
      {"pause", [&] { mSource->pauseEvent(nullptr); }},
      {"begin to poll", [&] { GfxEvent::pollingThreadFunc(&*mSource); }},
      {"parse", [&] { mSource->stringParser(text, data); }},
  };
  for (const auto& [name, operation] : cases) {
    EXPECT_TRUE(waitsFor(mSource->mFrameLock, operation)) << name;
  }
}

constexpr char kNoMemory[] =
    "AsyncEventsMgr_GFX: pollingThreadFunc() Caught Exception: std::bad_alloc in pollingThreadFunc";

TEST_F(Gfx, WithoutMemoryForThePathThereIsNoPolling) {
  hostcore::setItem(kGfxDataNodeItem, "/nowhere/" + std::string(100, 'x'));
  mSource->setGfxSysNodes();
  failingnew::gThrowing = 1;
  GfxEvent::pollingThreadFunc(&*mSource);
  EXPECT_THAT(mLog.texts(), testing::ElementsAre(kNoMemory));
}

/** A client's callback uses the memory up. */
TEST_F(Gfx, AReadForWhichMemoryIsShortLosesOnlyTheRestOfItsText) {
  std::atomic<int> allocation = 0;  // of the next read, which fails; 0 for none
  const AsyncEventCallback greedy = [](int, void*, int, void* next) {
    failingnew::gThrowing = static_cast<std::atomic<int>*>(next)->exchange(0);
  };
  mSource->registerCallBack(greedy, &allocation);
  mSource->startEvent(kFirst, 1);
  mSource->startEvent(greedy, 1);
  mSource->report("0 1 1 1 9000");
  EXPECT_TRUE(mFirst.waitFor({{}, {9}, {}}));
  allocation = 2;
  mSource->report(":");
  EXPECT_TRUE(mFirst.waitFor({}));
  mSource->report("0 1 1 2 11000:0 2 2 1 20000");
  EXPECT_TRUE(mFirst.waitFor({{}, {}, {2}}));
  EXPECT_THAT(mLog.texts(), testing::ElementsAre(kNoMemory));
  mSource->pauseEvent(greedy);
  mSource->report("0 3 3 1 40000");
  EXPECT_TRUE(mFirst.waitFor({{}, {31}, {}}));
}

}  // namespace
