#include <gmock/gmock.h>
#include <unistd.h>

#include <climits>
#include <filesystem>
#include <fstream>
#include <future>
#include <stdexcept>

#include "AsyncEventsMgr.h"
#include "testing/FailingNew.h"
#include "testing/LogCapture.h"

namespace {

/** A source without a thread, the fourth of which cannot be started, with its insides open. */
class Source : public AsyncEvent {
 public:
  using AsyncEvent::mCallbacks;
  using AsyncEvent::mRefCount;
  using AsyncEvent::mThreadCond;

  void startThread() override {
    if (++mThreadStarts == 4) {
      throw std::runtime_error("no thread");
    }
  }

  int mThreadStarts = 0;
};

void first(int, void*, int, void*) {}
void second(int, void*, int, void*) {}
void unknown(int, void*, int, void*) {}

TEST(AsyncEvent, StartAndPauseCountEachRegisteredCallbackOnce) {
  const LogCapture log;
  Source source;
  EXPECT_EQ(source.registerCallBack(first, &source), 0);
  EXPECT_EQ(source.registerCallBack(second, nullptr), 0);
  const auto start = &AsyncEvent::startEvent;
  const auto pause = &AsyncEvent::pauseEvent;
  const std::tuple<decltype(start), AsyncEventCallback, int, int, int> steps[] = {
      {start, nullptr, 0, THREAD_INIT, 0},    {start, unknown, 0, THREAD_INIT, 0},
      {pause, first, 0, THREAD_INIT, 0},      {start, first, 1, THREAD_RUNNING, 1},
      {start, first, 1, THREAD_RUNNING, 1},   {start, second, 2, THREAD_RUNNING, 2},
      {pause, first, 1, THREAD_RUNNING, 2},   {pause, first, 1, THREAD_RUNNING, 2},
      {pause, unknown, 1, THREAD_RUNNING, 2}, {pause, second, 0, THREAD_PAUSED, 2},
      {start, first, 1, THREAD_RUNNING, 3},
  };
  for (const auto& [operation, cb, refCount, state, threadStarts] : steps) {
    (source.*operation)(cb);
    EXPECT_EQ(source.mRefCount, refCount);
    EXPECT_EQ(source.getThreadState(), state);
    EXPECT_EQ(source.mThreadStarts, threadStarts);
  }
  EXPECT_THROW(source.startEvent(second), std::runtime_error);
  source.pauseEvent(second);  // would hang if the registry were still locked
  EXPECT_EQ(source.registerCallBack(first, nullptr), 0);
  EXPECT_EQ(source.mCallbacks.at(first), std::make_tuple(true, static_cast<void*>(&source)));
  EXPECT_EQ(source.registerCallBack(nullptr, &source), -1);
  source.pauseEvent(nullptr);
  failingnew::gThrowing = 1;
  EXPECT_EQ(source.registerCallBack(unknown, &source), -1);
  EXPECT_THAT(log.texts(), testing::ElementsAre(
                               "AsyncEventsMgr: registerCallBack() Register Cb failed - Null ptr\n",
                               "AsyncEventsMgr: pauseEvent() callback is null prt\n",
                               "AsyncEventsMgr: registerCallBack() Caught Exception: "
                               "std::bad_alloc in registerCallBack"));
}

TEST(AsyncEvent, ARefusedIncrementLeavesTheCallbackActiveAndTheThreadAlone) {
  const std::tuple<int, int, int> cases[] = {{INT_MAX, INT_MAX, THREAD_INIT},
                                             {-1, 0, THREAD_INIT},
                                             {-7, -6, THREAD_INIT},
                                             {0, 1, THREAD_RUNNING},
                                             {INT_MAX - 1, INT_MAX, THREAD_RUNNING}};
  for (const auto& [count, countAfter, state] : cases) {
    Source source;
    source.registerCallBack(first, nullptr);
    source.mRefCount = count;
    EXPECT_EQ(count < 1 ? source.decRefCount() : 0, 0);
    source.startEvent(first);
    EXPECT_EQ(source.mRefCount, countAfter) << count;
    EXPECT_EQ(source.getThreadState(), state) << count;
    EXPECT_EQ(source.mThreadStarts, state == THREAD_RUNNING) << count;
    EXPECT_TRUE(std::get<bool>(source.mCallbacks.at(first))) << count;
  }
}

TEST(AsyncEvent, APausedThreadReturnsThePausedStateWhateverWakesIt) {
  for (const int wakeState : {THREAD_RUNNING, THREAD_EXIT}) {
    Source source;
    EXPECT_EQ(source.analyseThreadState(), THREAD_INIT);
    source.setThreadState(THREAD_PAUSED);
    auto woken = std::async(std::launch::async, [&] { return source.analyseThreadState(); });
    source.mThreadCond.notify_all();  // still paused: sleeps on
    EXPECT_EQ(woken.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    source.setThreadState(wakeState);
    while (woken.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready) {
      source.mThreadCond.notify_all();
    }
    EXPECT_EQ(woken.get(), THREAD_PAUSED);
    source.setThreadState(THREAD_RUNNING);
    EXPECT_EQ(source.analyseThreadState(), wakeState);  // nothing leaves THREAD_EXIT
  }
}

TEST(AsyncEvent, ConstructionMakesRoomInTheProcessMapAndNeverShrinksIt) {
  for (const std::size_t buckets : {0, 1000}) {
    AsyncEvent::mPidMap = decltype(AsyncEvent::mPidMap)(buckets);
    const Source source;
    EXPECT_GE(AsyncEvent::mPidMap.bucket_count(), std::max<std::size_t>(buckets, 10));
  }
}

TEST(AsyncEvent, UpdateSysNodesWritesExactlyTheDecimalTextAndReportsOnlyAFailedOpen) {
  struct Grouped : std::numpunct<char> {
    std::string do_grouping() const override { return "\3"; }
  };
  const auto usual = std::locale::global(std::locale(std::locale::classic(), new Grouped));
  const LogCapture log;
  const std::string node = testing::TempDir() + "lmsupport-node" + std::to_string(getpid());
  for (const int value : {INT_MIN, -5}) {
    EXPECT_EQ(AsyncEvent::updateSysNodes(node, value), 0);
    std::ifstream file(node);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), std::to_string(value));
  }
  std::locale::global(usual);
  EXPECT_EQ(AsyncEvent::updateSysNodes("/dev/full", 1), 0);
  EXPECT_TRUE(log.texts().empty());
  std::filesystem::permissions(node, std::filesystem::perms::others_read);
  const uid_t user = geteuid();
  EXPECT_EQ(user == 0 ? seteuid(65534) : 0, 0);  // root may write anything
  for (const std::string& path : {std::string("/nowhere/node"), node}) {
    EXPECT_EQ(AsyncEvent::updateSysNodes(path, 1), -1);
    EXPECT_EQ(log.texts().back(),
              "AsyncEventsMgr: updateSysNodes() Unable to open " + path + " file");
  }
  EXPECT_EQ(seteuid(user), 0);
  std::filesystem::remove(node);
}

}  // namespace
