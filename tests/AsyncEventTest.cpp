#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <fstream>
#include <functional>
#include <mutex>
#include <stdexcept>
#include <utility>

#include "AsyncEventsMgr.h"
#include "testing/BackgroundCall.h"
#include "testing/FailingNew.h"
#include "testing/LogCapture.h"

namespace {

/** A source without a thread, with its insides open. */
class Source : public AsyncEvent {
 public:
  using AsyncEvent::mCallbacks;
  using AsyncEvent::mCallbacksLck;
  using AsyncEvent::mRefCount;
  using AsyncEvent::mRefCountLck;
  using AsyncEvent::mThreadCond;
  using AsyncEvent::mThreadCondLck;
  using AsyncEvent::mThreadStateLck;

  void startThread() override {
    mStatesAtStart.push_back(getThreadState());
    if (mThrows) {
      throw std::runtime_error("no thread");
    }
  }

  std::vector<int> mStatesAtStart;  ///< one of each call of startThread
  bool mThrows = false;
};

void first(int, void*, int, void*) {}
void second(int, void*, int, void*) {}
void unknown(int, void*, int, void*) {}

TEST(AsyncEvent, StartAndPauseCountEachRegisteredCallbackOnce) {
  Source source;
  EXPECT_EQ(source.registerCallBack(first, nullptr), 0);
  EXPECT_EQ(source.registerCallBack(second, nullptr), 0);
  const auto start = &AsyncEvent::startEvent;
  const auto pause = &AsyncEvent::pauseEvent;
  const std::tuple<const char*, decltype(start), AsyncEventCallback, int, int, std::vector<int>>
      steps[] = {
          {"start null", start, nullptr, 0, THREAD_INIT, {}},
          {"start unknown", start, unknown, 0, THREAD_INIT, {}},
          {"pause inactive", pause, first, 0, THREAD_INIT, {}},
          {"start", start, first, 1, THREAD_RUNNING, {THREAD_INIT}},
          {"start again", start, first, 1, THREAD_RUNNING, {}},
          {"start second", start, second, 2, THREAD_RUNNING, {THREAD_RUNNING}},
          {"pause first", pause, first, 1, THREAD_RUNNING, {}},
          {"pause again", pause, first, 1, THREAD_RUNNING, {}},
          {"pause unknown", pause, unknown, 1, THREAD_RUNNING, {}},
          {"pause last", pause, second, 0, THREAD_PAUSED, {}},
          {"resume", start, first, 1, THREAD_RUNNING, {THREAD_PAUSED}},
      };
  for (const auto& [name, operation, cb, refCount, state, statesAtStart] : steps) {
    (source.*operation)(cb);
    EXPECT_EQ(source.mRefCount, refCount) << name;
    EXPECT_EQ(source.getThreadState(), state) << name;
    EXPECT_EQ(std::exchange(source.mStatesAtStart, {}), statesAtStart) << name;
  }
}

TEST(AsyncEvent, WhatStartThreadThrowsLeavesTheCallbackActiveAndNothingLocked) {
  Source source;
  source.registerCallBack(first, nullptr);
  source.mThrows = true;
  EXPECT_THROW(source.startEvent(first), std::runtime_error);
  EXPECT_EQ(source.mRefCount, 1);
  EXPECT_EQ(source.getThreadState(), THREAD_INIT);
  source.pauseEvent(first);  // would hang if the registry were still locked
  EXPECT_EQ(source.mRefCount, 0);
}

TEST(AsyncEvent, RegisteringAgainChangesNothing) {
  Source source;
  source.registerCallBack(first, &source);
  source.startEvent(first);
  EXPECT_EQ(source.registerCallBack(first, nullptr), 0);
  EXPECT_EQ(source.mCallbacks.at(first), std::make_tuple(true, static_cast<void*>(&source)));
}

TEST(AsyncEvent, NullCallbacksAndALackOfMemoryAreLogged) {
  const LogCapture log;
  Source source;
  EXPECT_EQ(source.registerCallBack(nullptr, &source), -1);
  source.pauseEvent(nullptr);
  failingnew::gThrowing = 1;
  EXPECT_EQ(source.registerCallBack(first, &source), -1);
  EXPECT_THAT(log.texts(), testing::ElementsAre(
                               "AsyncEventsMgr: registerCallBack() Register Cb failed - Null ptr\n",
                               "AsyncEventsMgr: pauseEvent() callback is null prt\n",
                               "AsyncEventsMgr: registerCallBack() Caught Exception: "
                               "std::bad_alloc in registerCallBack"));
}

/** Each is one that another thread could break into; the last, a wake-up that could be lost. */
TEST(AsyncEvent, EachOperationWaitsForTheLocksThatItsDataNeeds) {
  Source source;
  source.registerCallBack(first, nullptr);
  const std::tuple<const char*, std::mutex&, std::function<void()>> cases[] = {
      {"register", source.mCallbacksLck, [&] { source.registerCallBack(second, nullptr); }},
      {"start", source.mCallbacksLck, [&] { source.startEvent(second); }},
      {"pause", source.mCallbacksLck, [&] { source.pauseEvent(second); }},
      {"incRefCount", source.mRefCountLck, [&] { source.incRefCount(); }},
      {"decRefCount", source.mRefCountLck, [&] { source.decRefCount(); }},
      {"setThreadState", source.mThreadStateLck, [&] { source.setThreadState(THREAD_RUNNING); }},
      {"getThreadState", source.mThreadStateLck, [&] { source.getThreadState(); }},
      {"wake-up", source.mThreadCondLck, [&] { source.startEvent(first); }},
  };
  for (const auto& [name, lock, operation] : cases) {
    EXPECT_TRUE(waitsFor(lock, operation)) << name;
  }
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
    EXPECT_EQ(source.mStatesAtStart.size(), state == THREAD_RUNNING) << count;
    EXPECT_TRUE(std::get<bool>(source.mCallbacks.at(first))) << count;
  }
}

TEST(AsyncEvent, APausedThreadReturnsThePausedStateWhateverWakesIt) {
  for (const int wakeState : {THREAD_RUNNING, THREAD_EXIT}) {
    Source source;
    EXPECT_EQ(source.analyseThreadState(), THREAD_INIT);
    source.setThreadState(THREAD_PAUSED);
    int result = -1;
    {
      const BackgroundCall paused([&] { result = source.analyseThreadState(); });
      EXPECT_TRUE(paused.fallsAsleep());
      source.setThreadState(wakeState);
      std::lock_guard lock(source.mThreadCondLck);
      source.mThreadCond.notify_all();
    }
    EXPECT_EQ(result, THREAD_PAUSED);
    source.setThreadState(THREAD_RUNNING);
    EXPECT_EQ(source.analyseThreadState(), wakeState);  // nothing leaves THREAD_EXIT
  }
}

TEST(AsyncEvent, APausedThreadThatIsWokenForNothingSleepsOn) {
  Source source;
  source.setThreadState(THREAD_PAUSED);
  const BackgroundCall paused([&] { source.analyseThreadState(); });
  EXPECT_TRUE(paused.fallsAsleep());
  {
    std::lock_guard lock(source.mThreadStateLck);
    source.mThreadCond.notify_all();
    const auto end = Clock::now() + std::chrono::seconds(10);
    while (source.mThreadCondLck.try_lock()) {  // until the thread holds it, to look at the state
      source.mThreadCondLck.unlock();
      ASSERT_LT(Clock::now(), end);
    }
  }
  source.mThreadCondLck.lock();  // given back by a thread that sleeps again, or returns
  source.mThreadCondLck.unlock();
  EXPECT_FALSE(paused.hasEnded());
  source.setThreadState(THREAD_RUNNING);
  source.mThreadCond.notify_all();
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
  const mode_t mask = umask(0);
  for (const int value : {INT_MIN, -5}) {
    EXPECT_EQ(AsyncEvent::updateSysNodes(node, value), 0);
    std::ifstream file(node);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), std::to_string(value));
  }
  umask(mask);
  struct stat made = {};
  EXPECT_EQ(stat(node.c_str(), &made), 0);
  EXPECT_EQ(made.st_mode & 0777, 0666u);
  std::locale::global(usual);
  EXPECT_EQ(AsyncEvent::updateSysNodes("/dev/full", 1), 0);
  EXPECT_TRUE(log.texts().empty());
  chmod(node.c_str(), S_IROTH);
  const uid_t user = geteuid();
  EXPECT_EQ(user == 0 ? seteuid(65534) : 0, 0);  // root may write anything
  for (const std::string& path : {std::string("/nowhere/node"), node}) {
    EXPECT_EQ(AsyncEvent::updateSysNodes(path, 1), -1);
    EXPECT_EQ(log.texts().back(),
              "AsyncEventsMgr: updateSysNodes() Unable to open " + path + " file");
  }
  EXPECT_EQ(seteuid(user), 0);
  unlink(node.c_str());
}

}  // namespace
