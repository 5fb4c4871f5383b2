#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <climits>
#include <filesystem>
#include <fstream>
#include <future>
#include <stdexcept>

#include "AsyncEventsMgr.h"
#include "LogCapture.h"

using testing::ElementsAre;

namespace {

/** A source without a thread, with its insides open. */
class Source : public AsyncEvent {
 public:
  using AsyncEvent::mCallbacks;
  using AsyncEvent::mRefCount;
  using AsyncEvent::mThreadCond;

  void startThread() override {
    if (++mThreadStarts == mThrowsAt) {
      throw std::runtime_error("no thread");
    }
  }

  int mThreadStarts = 0;
  int mThrowsAt = 0;
};

void first(int, void*, int, void*) {}
void second(int, void*, int, void*) {}
void unknown(int, void*, int, void*) {}

TEST(AsyncEvent, StartAndPauseCountEachRegisteredCallbackOnce) {
  const LogCapture log;
  Source source;
  int user;
  int other;
  EXPECT_EQ(source.registerCallBack(first, &user), 0);
  EXPECT_EQ(source.registerCallBack(second, nullptr), 0);
  EXPECT_EQ(source.getThreadState(), THREAD_INIT);
  struct Step {
    void (AsyncEvent::*operation)(AsyncEventCallback);
    AsyncEventCallback cb;
    int refCount;
    int state;
    int threadStarts;
  };
  const auto start = &AsyncEvent::startEvent;
  const auto pause = &AsyncEvent::pauseEvent;
  for (const Step& step : {
           Step{start, nullptr, 0, THREAD_INIT, 0},
           Step{start, unknown, 0, THREAD_INIT, 0},
           Step{pause, first, 0, THREAD_INIT, 0},
           Step{start, first, 1, THREAD_RUNNING, 1},
           Step{start, first, 1, THREAD_RUNNING, 1},
           Step{start, second, 2, THREAD_RUNNING, 2},
           Step{pause, first, 1, THREAD_RUNNING, 2},
           Step{pause, first, 1, THREAD_RUNNING, 2},
           Step{pause, unknown, 1, THREAD_RUNNING, 2},
           Step{pause, second, 0, THREAD_PAUSED, 2},
           Step{start, first, 1, THREAD_RUNNING, 3},
       }) {
    (source.*step.operation)(step.cb);
    EXPECT_EQ(source.mRefCount, step.refCount);
    EXPECT_EQ(source.getThreadState(), step.state);
    EXPECT_EQ(source.mThreadStarts, step.threadStarts);
  }
  EXPECT_EQ(source.registerCallBack(first, &other), 0);
  EXPECT_EQ(source.mCallbacks.at(first), std::make_tuple(true, static_cast<void*>(&user)));
  EXPECT_TRUE(log.texts().empty());
  EXPECT_EQ(source.registerCallBack(nullptr, &user), -1);
  source.pauseEvent(nullptr);
  EXPECT_THAT(log.texts(),
              ElementsAre("AsyncEventsMgr: registerCallBack() Register Cb failed - Null ptr\n",
                          "AsyncEventsMgr: pauseEvent() callback is null prt\n"));
}

TEST(AsyncEvent, ARefusedIncrementLeavesTheCallbackActiveAndTheThreadAlone) {
  struct Case {
    int count;
    int countAfter;
    int state;
  };
  for (const Case& c : {Case{INT_MAX, INT_MAX, THREAD_INIT}, Case{-1, 0, THREAD_INIT},
                        Case{-7, -6, THREAD_INIT}, Case{INT_MAX - 1, INT_MAX, THREAD_RUNNING}}) {
    Source source;
    source.registerCallBack(first, nullptr);
    source.mRefCount = c.count;
    source.startEvent(first);
    EXPECT_EQ(source.mRefCount, c.countAfter) << c.count;
    EXPECT_EQ(source.getThreadState(), c.state) << c.count;
    EXPECT_EQ(source.mThreadStarts, c.state == THREAD_RUNNING) << c.count;
    EXPECT_TRUE(std::get<bool>(source.mCallbacks.at(first))) << c.count;
  }
  Source source;
  EXPECT_EQ(source.decRefCount(), 0);
  EXPECT_EQ(source.mRefCount, 0);
}

TEST(AsyncEvent, AThrowingStartThreadUnlocksTheRegistry) {
  Source source;
  source.registerCallBack(first, nullptr);
  source.mThrowsAt = 1;
  EXPECT_THROW(source.startEvent(first), std::runtime_error);
  EXPECT_EQ(source.getThreadState(), THREAD_INIT);
  source.pauseEvent(first);
  source.startEvent(first);
  EXPECT_EQ(source.getThreadState(), THREAD_RUNNING);
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
    EXPECT_EQ(source.analyseThreadState(), wakeState);
    source.setThreadState(THREAD_RUNNING);
    EXPECT_EQ(source.getThreadState(), wakeState);  // nothing leaves THREAD_EXIT
  }
}

TEST(AsyncEvent, ConstructionNeverShrinksTheProcessMap) {
  const Source source;
  EXPECT_GE(AsyncEvent::mPidMap.bucket_count(), 10u);
  AsyncEvent::mPidMap.rehash(1000);
  const std::size_t buckets = AsyncEvent::mPidMap.bucket_count();
  const Source another;
  EXPECT_EQ(AsyncEvent::mPidMap.bucket_count(), buckets);
}

TEST(AsyncEvent, UpdateSysNodesWritesExactlyTheDecimalText) {
  struct Grouped : std::numpunct<char> {
    std::string do_grouping() const override { return "\3"; }
  };
  const auto usual = std::locale::global(std::locale(std::locale::classic(), new Grouped));
  const std::string node = testing::TempDir() + "lmsupport-node";
  for (const int value : {INT_MIN, INT_MAX, -5, 0}) {
    EXPECT_EQ(AsyncEvent::updateSysNodes(node, value), 0);
    std::ifstream file(node);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), std::to_string(value));
  }
  std::locale::global(usual);
  std::filesystem::remove(node);
}

TEST(AsyncEvent, UpdateSysNodesReportsOnlyAFailedOpen) {
  const LogCapture log;
  const std::string readOnly = testing::TempDir() + "lmsupport-read-only";
  std::ofstream(readOnly).close();
  std::filesystem::permissions(readOnly, std::filesystem::perms::others_read);
  const uid_t user = geteuid();
  ASSERT_EQ(user == 0 ? seteuid(65534) : 0, 0);  // root may write anything
  for (const std::string& path : {std::string("/nowhere/node"), readOnly, testing::TempDir()}) {
    EXPECT_EQ(AsyncEvent::updateSysNodes(path, 1), -1);
    EXPECT_EQ(log.texts().back(),
              "AsyncEventsMgr: updateSysNodes() Unable to open " + path + " file");
  }
  ASSERT_EQ(seteuid(user), 0);
  EXPECT_EQ(AsyncEvent::updateSysNodes("/dev/full", 1), 0);
  EXPECT_EQ(log.texts().size(), 3u);
  std::filesystem::remove(readOnly);
}

}  // namespace
