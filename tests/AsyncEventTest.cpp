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
using testing::IsEmpty;

namespace {

void first(int, void*, int, void*) {}
void second(int, void*, int, void*) {}

/** A source without a thread, with its insides open. */
class Source : public AsyncEvent {
 public:
  void startThread() override {
    ++mThreadStarts;
    if (mThrows) {
      throw std::runtime_error("no thread");
    }
  }

  void setRefCount(int count) {
    std::lock_guard lock(mRefCountLck);
    mRefCount = count;
  }

  int refCount() {
    std::lock_guard lock(mRefCountLck);
    return mRefCount;
  }

  std::tuple<bool, void*> client(AsyncEventCallback cb) {
    std::lock_guard lock(mCallbacksLck);
    return mCallbacks.at(cb);
  }

  void wake() {
    std::lock_guard lock(mThreadCondLck);
    mThreadCond.notify_all();
  }

  int mThreadStarts = 0;
  bool mThrows = false;
};

TEST(AsyncEvent, RegistrationKeepsTheFirstPointerAndStartsNothing) {
  LogCapture log;
  Source source;
  int a;
  int b;
  EXPECT_EQ(source.registerCallBack(first, &a), 0);
  EXPECT_EQ(source.registerCallBack(first, &b), 0);
  EXPECT_EQ(source.client(first), std::make_tuple(false, static_cast<void*>(&a)));
  source.startEvent(first);
  EXPECT_EQ(source.registerCallBack(first, &b), 0);
  EXPECT_EQ(source.client(first), std::make_tuple(true, static_cast<void*>(&a)));
  EXPECT_EQ(source.mThreadStarts, 1);
  EXPECT_THAT(log.texts(), IsEmpty());
  EXPECT_EQ(source.registerCallBack(nullptr, &a), -1);
  EXPECT_THAT(log.texts(),
              ElementsAre("AsyncEventsMgr: registerCallBack() Register Cb failed - Null ptr\n"));
}

TEST(AsyncEvent, StartAndPauseCountEachCallbackOnce) {
  LogCapture log;
  Source source;
  source.registerCallBack(first, nullptr);
  source.registerCallBack(second, nullptr);
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
  const auto unknown = [](int, void*, int, void*) {};
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
           Step{start, second, 1, THREAD_RUNNING, 3},
       }) {
    (source.*step.operation)(step.cb);
    EXPECT_EQ(source.refCount(), step.refCount);
    EXPECT_EQ(source.getThreadState(), step.state);
    EXPECT_EQ(source.mThreadStarts, step.threadStarts);
  }
  EXPECT_THAT(log.texts(), IsEmpty());
  source.pauseEvent(nullptr);
  EXPECT_THAT(log.texts(), ElementsAre("AsyncEventsMgr: pauseEvent() callback is null prt\n"));
}

TEST(AsyncEvent, ARefusedIncrementLeavesTheCallbackActiveAndTheThreadAlone) {
  struct Case {
    int count;
    int countAfterStart;
    int state;
  };
  for (const Case& c : {Case{INT_MAX, INT_MAX, THREAD_INIT}, Case{-1, 0, THREAD_INIT},
                        Case{-7, -6, THREAD_INIT}, Case{INT_MAX - 1, INT_MAX, THREAD_RUNNING}}) {
    Source source;
    source.registerCallBack(first, nullptr);
    source.setRefCount(c.count);
    source.startEvent(first);
    EXPECT_EQ(source.refCount(), c.countAfterStart) << c.count;
    EXPECT_EQ(source.getThreadState(), c.state) << c.count;
    EXPECT_TRUE(std::get<bool>(source.client(first))) << c.count;
  }
  Source source;
  source.setRefCount(INT_MAX);
  EXPECT_EQ(source.incRefCount(), 0);
  EXPECT_EQ(source.decRefCount(), INT_MAX - 1);
  source.setRefCount(0);
  EXPECT_EQ(source.decRefCount(), 0);
  EXPECT_EQ(source.refCount(), 0);
  EXPECT_EQ(source.incRefCount(), 1);
}

TEST(AsyncEvent, AThrowingStartThreadUnlocksTheRegistry) {
  Source source;
  source.registerCallBack(first, nullptr);
  source.mThrows = true;
  EXPECT_THROW(source.startEvent(first), std::runtime_error);
  EXPECT_EQ(source.getThreadState(), THREAD_INIT);
  source.pauseEvent(first);
  source.mThrows = false;
  source.startEvent(first);
  EXPECT_EQ(source.getThreadState(), THREAD_RUNNING);
}

TEST(AsyncEvent, APausedThreadReturnsThePausedStateWhateverWakesIt) {
  for (const int wakeState : {THREAD_RUNNING, THREAD_EXIT}) {
    Source source;
    EXPECT_EQ(source.analyseThreadState(), THREAD_INIT);
    source.setThreadState(THREAD_PAUSED);
    auto woken = std::async(std::launch::async, [&] { return source.analyseThreadState(); });
    source.wake();  // still paused: sleeps on
    EXPECT_EQ(woken.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    source.setThreadState(wakeState);
    source.wake();
    EXPECT_EQ(woken.get(), THREAD_PAUSED);
    EXPECT_EQ(source.analyseThreadState(), wakeState);
  }
}

TEST(AsyncEvent, NothingLeavesTheExitState) {
  Source source;
  source.registerCallBack(first, nullptr);
  source.setThreadState(THREAD_EXIT);
  source.startEvent(first);
  source.pauseEvent(first);
  EXPECT_EQ(source.getThreadState(), THREAD_EXIT);
}

TEST(AsyncEvent, ConstructionReservesTheProcessMapAndNeverShrinksIt) {
  Source source;
  EXPECT_GE(AsyncEvent::mPidMap.bucket_count(), 10u);
  AsyncEvent::mPidMap.rehash(1000);
  const std::size_t buckets = AsyncEvent::mPidMap.bucket_count();
  Source another;
  EXPECT_EQ(AsyncEvent::mPidMap.bucket_count(), buckets);
  EXPECT_EQ(AsyncEvent::mPidMap.max_load_factor(), 1.0f);
}

class UpdateSysNodes : public testing::Test {
 protected:
  UpdateSysNodes() {
    std::string name = testing::TempDir() + "lmsupport-XXXXXX";
    mDirectory = mkdtemp(name.data());
    mNode = mDirectory / "node";
  }

  ~UpdateSysNodes() override { std::filesystem::remove_all(mDirectory); }

  std::filesystem::path mDirectory;
  std::string mNode;
  LogCapture mLog;
};

TEST_F(UpdateSysNodes, WritesExactlyTheDecimalText) {
  struct Grouped : std::numpunct<char> {
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
  };
  const std::locale previous =
      std::locale::global(std::locale(std::locale::classic(), new Grouped));
  for (const int value : {INT_MIN, INT_MAX, 1234567, -5, 0}) {
    EXPECT_EQ(AsyncEvent::updateSysNodes(mNode, value), 0);
    std::ifstream file(mNode);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), std::to_string(value));
  }
  std::locale::global(previous);
  EXPECT_THAT(mLog.texts(), IsEmpty());
}

TEST_F(UpdateSysNodes, ReportsOnlyAFailedOpen) {
  const std::string missing = mDirectory / "missing" / "node";
  const std::string readOnly = mDirectory / "read-only";
  std::ofstream(readOnly).close();
  std::filesystem::permissions(readOnly, std::filesystem::perms::others_read);
  std::filesystem::permissions(mDirectory, std::filesystem::perms::all);
  const uid_t user = geteuid();
  ASSERT_EQ(user == 0 ? seteuid(65534) : 0, 0);  // root may write anything
  for (const std::string& path : {missing, readOnly, mDirectory.string(), std::string()}) {
    EXPECT_EQ(AsyncEvent::updateSysNodes(path, 1), -1);
    EXPECT_EQ(mLog.texts().back(),
              "AsyncEventsMgr: updateSysNodes() Unable to open " + path + " file");
  }
  ASSERT_EQ(seteuid(user), 0);
  EXPECT_EQ(mLog.texts().size(), 4u);
  EXPECT_EQ(AsyncEvent::updateSysNodes("/dev/full", 1), 0);
  EXPECT_EQ(mLog.texts().size(), 4u);
}

}  // namespace
