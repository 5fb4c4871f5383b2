#include <gmock/gmock.h>
#include <sys/stat.h>

#include <climits>
#include <fstream>
#include <stdexcept>

#include "AsyncEventsMgr.h"
#include "testing/BackgroundCall.h"
#include "testing/FailingNew.h"
#include "testing/LogCapture.h"
#include "testing/TemporaryFolder.h"

namespace {

/** A source without a thread, and with its members open. */
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
  EXPECT_EQ(source.getThreadState(), THREAD_INIT);
  source.pauseEvent(first);  // would hang if the registry were still locked
  EXPECT_EQ(source.getThreadState(), THREAD_PAUSED);
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
      // Without the lock, a thread that is about to sleep could miss the wake-up.
      {"wake-up", source.mThreadCondLck, [&] { source.startEvent(first); }},
  };
  for (const auto& [name, lock, operation] : cases) {
    EXPECT_TRUE(waitsFor(lock, operation)) << name;
  }
  EXPECT_FALSE(waitsFor(source.mCallbacksLck, [&] { source.startEvent(nullptr); }));
  EXPECT_FALSE(waitsFor(source.mCallbacksLck, [&] { source.pauseEvent(nullptr); }));
}

TEST(AsyncEvent, AnImpossibleCountLeavesTheCallbackActiveAndTheThreadAlone) {
  const std::tuple<const char*, int, int, bool> cases[] = {
      {"the largest count", INT_MAX, INT_MAX, false},
      {"the one before", INT_MAX - 1, INT_MAX, true},
      {"none", 0, 1, true},
      {"less than none", -1, 0, false},
      {"far less than none", -7, -6, false}};
  for (const auto& [name, count, countAfter, starts] : cases) {
    Source source;
    source.registerCallBack(first, nullptr);
    source.mRefCount = count;
    EXPECT_EQ(count < 1 ? source.decRefCount() : 0, 0) << name;
    source.startEvent(first);
    EXPECT_EQ(source.mRefCount, countAfter) << name;
    EXPECT_EQ(source.getThreadState(), starts ? THREAD_RUNNING : THREAD_INIT) << name;
    EXPECT_EQ(source.mStatesAtStart.size(), starts) << name;
    EXPECT_TRUE(std::get<bool>(source.mCallbacks.at(first))) << name;
  }
}

TEST(AsyncEvent, APausedThreadSleepsUntilTheStateChangesAndReturnsThePausedOne) {
  for (const int wakeState : {THREAD_RUNNING, THREAD_EXIT}) {
    Source source;
    EXPECT_EQ(source.analyseThreadState(), THREAD_INIT);
    source.setThreadState(THREAD_PAUSED);
    int result = -1;
    {
      const BackgroundCall paused([&] { result = source.analyseThreadState(); });
      EXPECT_TRUE(paused.waitsFor(source.mThreadCond));
      {
        std::lock_guard lock(source.mThreadStateLck);
        source.mThreadCond.notify_all();  // for nothing: it looks at the state and sleeps on
        EXPECT_TRUE(paused.waitsFor(source.mThreadStateLck));
      }
      EXPECT_TRUE(paused.waitsFor(source.mThreadCond));
      source.setThreadState(wakeState);
      source.mThreadCond.notify_all();
    }
    EXPECT_EQ(result, THREAD_PAUSED);
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

TEST(AsyncEvent, UpdateSysNodesWritesTheDecimalTextAndReportsOnlyAFailedOpen) {
  const TemporaryFolder folder;
  const std::string node = folder.path() + "/node";
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
  EXPECT_EQ(AsyncEvent::updateSysNodes("/dev/full", 1), 0);
  EXPECT_EQ(AsyncEvent::updateSysNodes("/nowhere/node", 1), -1);
}

}  // namespace
