#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <condition_variable>
#include <fstream>
#include <functional>
#include <future>
#include <optional>
#include <stdexcept>

#include "HostCore.h"
#include "testing/BackgroundCall.h"
#include "testing/FailingNew.h"
#include "testing/LogCapture.h"
#include "testing/SystemCallOf.h"
#include "testing/TestSource.h"
#include "testing/WithoutThreads.h"

namespace {

// Of this process alone: CTest runs several of these tests at a time.
const std::string kData = testing::TempDir() + "lmsupport-gfx-data" + std::to_string(getpid());
const std::string kControl =
    testing::TempDir() + "lmsupport-gfx-control" + std::to_string(getpid());

/** Keeps the last sample that it was told, and by which thread. */
struct Client {
  template <int>
  static void onEvent(int event, void* payload, int zero, void* client) {
    EXPECT_TRUE(event == 2 && zero == 0);
    auto* const self = static_cast<Client*>(client);
    std::lock_guard lock(self->mLck);
    self->mThread = gettid();
    self->mLast = *static_cast<const GfxFrameData*>(payload);
    self->mTold.notify_all();
  }

  bool waitFor(const GfxFrameData& sample,
               std::chrono::milliseconds limit = std::chrono::seconds(10)) {
    std::unique_lock lock(mLck);
    return mTold.wait_for(lock, limit, [&] { return mLast && figures(*mLast) == figures(sample); });
  }

  std::mutex mLck;
  std::condition_variable mTold;
  std::optional<GfxFrameData> mLast;
  pid_t mThread = 0;
};

constexpr auto kFirst = Client::onEvent<1>;
constexpr auto kSecond = Client::onEvent<2>;

struct Source : TestGfxSource {
  Source() : TestGfxSource(kData) {}

  using AsyncEvent::mCallbacksLck;
  using AsyncEvent::mFrameLock;
};

std::string written(const std::string& path = kControl) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

class Gfx : public testing::Test {
 protected:
  Gfx() {
    hostcore::setItem(7, kData);
    hostcore::setItem(8, kControl);
    mSource.registerCallBack(kFirst, &mFirst);
    mSource.registerCallBack(kSecond, &mSecond);
  }

  static void SetUpTestSuite() { EXPECT_EQ(mkfifo(kData.c_str(), 0600), 0); }

  static void TearDownTestSuite() {
    for (const std::string& file :
         {kData, kData + "-file", kControl, kControl + "2", kControl + "3"}) {
      unlink(file.c_str());
    }
  }

  const LogCapture mLog;
  Client mFirst;
  Client mSecond;
  Source mSource;
};

TEST_F(Gfx, TellsActiveClientsOfEachReadAndForgetsFramesAtEachStartAndPause) {
  mSource.startEvent(kFirst, 120);
  mSource.report("0 1 1 1 10000:0 1 1 2 12000:0 1 1 3 18000:");
  EXPECT_TRUE(mFirst.waitFor({{6}, {10}, {2}}));
  EXPECT_EQ(written(), "120");
  EXPECT_FALSE(mSecond.mLast);
  const auto start = [&](AsyncEventCallback cb) { mSource.startEvent(cb, 60); };
  const auto pause = [&](AsyncEventCallback cb) { mSource.pauseEvent(cb); };
  const std::tuple<std::function<void(AsyncEventCallback)>, AsyncEventCallback, const char*>
      steps[] = {{start, kSecond, "60"}, {pause, kSecond, "-1"}, {pause, kFirst, "-1"}};
  std::string time = "20000";
  for (const auto& [operation, cb, value] : steps) {
    mSource.report("0 1 1 1 " + time);
    EXPECT_TRUE(mFirst.waitFor({{}, {10}, {}})) << time;
    operation(cb);
    EXPECT_EQ(written(), value);  // whether or not another client is active
    start(kFirst);
    mSource.report("0 1 1 2 99000:0 1 1 3 99000");
    EXPECT_TRUE(mFirst.waitFor({})) << time;
    ++time[0];
  }
  EXPECT_FALSE(mSecond.waitFor({}, {}));  // paused, it kept the sample before
}

/** A callback that was paused, another that is active, and two that were never registered. */
TEST_F(Gfx, TheControlNodeIsWrittenWhateverTheCallbackIs) {
  mSource.startEvent(kSecond, 1);
  int value = 100;
  for (const AsyncEventCallback cb : {kFirst, kSecond, Client::onEvent<3>, AsyncEventCallback()}) {
    for (int round = 0; round < 2; ++round) {
      mSource.startEvent(cb, ++value);
      EXPECT_EQ(written(), std::to_string(value));
    }
    for (int round = 0; round < 2; ++round) {
      std::ofstream(kControl) << "old";
      mSource.pauseEvent(cb);
      EXPECT_EQ(written(), "-1");
    }
  }
}

/** The driver hears of a start before there is a thread, and of a pause while the client is active. */
TEST_F(Gfx, TheControlNodeIsWrittenBeforeTheCallbackChanges) {
  unlink((kControl + "3").c_str());
  mkfifo((kControl + "3").c_str(), 0600);  // holds each write until it is read
  hostcore::setItem(8, kControl + "3");
  for (const auto& [isStart, stateMeanwhile] :
       {std::tuple(true, THREAD_INIT), {false, THREAD_RUNNING}}) {
    auto change = std::async(std::launch::async, [this, isStart = isStart] {
      isStart ? mSource.startEvent(kFirst, 5) : mSource.pauseEvent(kFirst);
    });
    EXPECT_EQ(change.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    EXPECT_EQ(mSource.getThreadState(), stateMeanwhile);
    EXPECT_EQ(written(kControl + "3"), isStart ? "5" : "-1");
  }
}

TEST_F(Gfx, EachReadTakesAPageButTwoBytesFromTheBeginning) {
  const std::string file = kData + "-file";
  const auto size = static_cast<std::size_t>(getpagesize());
  std::string text(size, ' ');
  text.replace(0, 16, "0 1 1 1 9000000:");
  text.replace(size - 16, 16, "0 1 1 2 90000123");  // the last two digits are not read
  std::ofstream(file) << text;
  hostcore::setItem(7, file);
  Client client;
  Source source;
  source.registerCallBack(kFirst, &client);
  source.startEvent(kFirst, 1);
  EXPECT_TRUE(client.waitFor({{}, {}, {900001 / 1000.0 - 9000}}));
}

TEST_F(Gfx, DestructionEndsAndAwaitsTheThread) {
  auto* const source = new GfxEvent;
  source->registerCallBack(kFirst, &mFirst);
  source->startEvent(kFirst, 1);
  mSource.report(":");
  EXPECT_TRUE(mFirst.waitFor({}));
  waitUntilIn(SYS_read, mFirst.mThread);
  auto destruction = std::async(std::launch::async, [source] { delete source; });
  EXPECT_EQ(destruction.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
  while (destruction.wait_for(std::chrono::milliseconds(10)) != std::future_status::ready) {
    mSource.report(":");
  }
  EXPECT_EQ(GfxEvent::getInstance(), GfxEvent::getInstance());
}

TEST_F(Gfx, EachStartLooksUpTheNodesAndEachThreadReadsOne) {
  mSource.startEvent(kFirst, 1);
  mSource.report("0 1 1 1 9000");
  EXPECT_TRUE(mFirst.waitFor({{}, {9}, {}}));  // so its node is open
  hostcore::setItem(7, "/");                   // which opens, but cannot be read
  hostcore::setItem(8, kControl + "2");
  mSource.startEvent(kFirst, 2);
  hostcore::enableStore(false);
  mSource.startEvent(kSecond, 3);
  EXPECT_EQ(OpenGfxEvent().mGfxCtrlNode, "");
  hostcore::enableStore(true);
  EXPECT_EQ(written() + written(kControl + "2"), "13");
  mSource.report("0 1 1 1 20000");
  EXPECT_TRUE(mSecond.waitFor({{}, {11}, {}}));
  Client client;
  Source other;
  other.registerCallBack(kFirst, &client);
  other.startEvent(kFirst, 1);
  EXPECT_TRUE(client.waitFor({}));
  EXPECT_TRUE(mLog.texts().empty());
}

/** Here no event comes while a callback throws: on the polling thread nobody would catch it. */
TEST_F(Gfx, NodesThatCannotBeOpenedAreLogged) {
  hostcore::setItem(8, "/nowhere/control");
  const int input = dup(STDIN_FILENO);
  std::vector<std::string> expected;
  for (const auto& [path, fd] : {std::tuple(std::string("/nowhere"), "-1"), {kData, "0"}}) {
    hostcore::setItem(7, path);
    Source source;
    close(STDIN_FILENO);  // so that a node opens as descriptor 0
    const auto throws = [](int, void*, int, void*) { throw std::runtime_error("client"); };
    source.registerCallBack(throws, nullptr);
    source.startEvent(throws, 1);
    expected.emplace_back("AsyncEventsMgr: updateSysNodes() Unable to open /nowhere/control file");
    expected.push_back("AsyncEventsMgr_GFX: pollingThreadFunc() Not able to open (" + path +
                       ") fd(" + fd + ") \n");
    EXPECT_EQ(mLog.waitFor(expected.size()), expected);
    GfxFrameData data;
    EXPECT_THROW(source.processCb(data), std::runtime_error);
    source.pauseEvent(throws);  // would hang if the registry were still locked
    source.startEvent(throws, 1);
    expected.insert(expected.end(), 2, expected[0]);
    dup2(input, STDIN_FILENO);
  }
  EXPECT_EQ(mLog.texts(), expected);
}

/** Once there is a thread again, the next start works: as for vsyncs. */
TEST_F(Gfx, AThreadThatCannotBeCreatedIsLogged) {
  withoutThreads([this] { mSource.startEvent(kFirst, 1); });
  EXPECT_FALSE(mSource.hasThread());
  const std::string failure = "AsyncEventsMgr_GFX: startThread() Thread Creation Failed";
  EXPECT_EQ(mLog.texts(), std::vector{failure});
}

TEST_F(Gfx, ItsThreadHasAName) {
  mSource.startEvent(kFirst, 1);
  mSource.report(":");
  EXPECT_TRUE(mFirst.waitFor({}));
  EXPECT_EQ(nameOf(mFirst.mThread), "LmGfxEvent");
  GfxEvent::pollingThreadFunc(nullptr);
}

TEST_F(Gfx, WithoutMemoryForThePathThereIsNoPolling) {
  hostcore::setItem(7, "/nowhere/" + std::string(100, 'x'));
  mSource.setGfxSysNodes();
  failingnew::gThrowing = 1;
  GfxEvent::pollingThreadFunc(&mSource);
  EXPECT_EQ(mLog.texts(),
            std::vector<std::string>{"AsyncEventsMgr_GFX: pollingThreadFunc() Caught "
                                     "Exception: std::bad_alloc in pollingThreadFunc"});
}

TEST_F(Gfx, EachOperationWaitsForTheLocksThatItsDataNeeds) {
  char text[] = ":";
  GfxFrameData data;
  const std::tuple<const char*, std::mutex&, std::function<void()>> cases[] = {
      {"start", mSource.mFrameLock, [&] { mSource.startEvent(nullptr, 1); }},
      {"pause", mSource.mFrameLock, [&] { mSource.pauseEvent(nullptr); }},
      {"parse", mSource.mFrameLock, [&] { mSource.stringParser(text, data); }},
      {"deliver", mSource.mCallbacksLck, [&] { mSource.processCb(data); }},
  };
  for (const auto& [name, lock, operation] : cases) {
    EXPECT_TRUE(waitsFor(lock, operation)) << name;
  }
}

/** A callback uses memory up: the next read's rest is lost, and the thread goes on. */
TEST_F(Gfx, APollingThreadWithoutMemoryDeliversWhatItHasAndGoesOn) {
  const AsyncEventCallback greedy = [](int, void*, int, void*) {
    static bool once = true;
    failingnew::gThrowing = std::exchange(once, false);
  };
  mSource.registerCallBack(greedy, nullptr);
  mSource.startEvent(kFirst, 1);
  mSource.report("0 1 1 1 9000");
  EXPECT_TRUE(mFirst.waitFor({{}, {9}, {}}));
  mSource.startEvent(greedy, 1);
  mSource.report(":");
  EXPECT_TRUE(mFirst.waitFor({}));
  mSource.report("0 1 1 1 20000:");
  EXPECT_EQ(mLog.waitFor(1),
            std::vector<std::string>{"AsyncEventsMgr_GFX: pollingThreadFunc() Caught "
                                     "Exception: std::bad_alloc in pollingThreadFunc"});
  mSource.report("0 2 2 1 40000");
  EXPECT_TRUE(mFirst.waitFor({{}, {31}, {}}));
}

}  // namespace
