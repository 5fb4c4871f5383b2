#include <limits>

#include "AsyncEventsMgr.h"
#include "config/Nodes.h"
#include "detail/LMLog.h"

using lmsupport::guard;
using lmsupport::kAsyncEventsMgr;
using lmsupport::kUsualWording;

namespace {

constexpr int kExpectedProcesses = 10;

}  // namespace

std::unordered_map<std::string, int> AsyncEvent::mPidMap;
std::mutex AsyncEvent::mPidMapLck;

AsyncEvent::AsyncEvent() {
  // reserve() may also shrink, so it is left alone where there is room.
  if (static_cast<float>(mPidMap.bucket_count()) * mPidMap.max_load_factor() >=
      kExpectedProcesses) {
    return;
  }
  guard(kAsyncEventsMgr, kUsualWording, [] { mPidMap.reserve(kExpectedProcesses); });
}

AsyncEvent::~AsyncEvent() = default;

void AsyncEvent::startThread() {}

int AsyncEvent::registerCallBack(AsyncEventCallback cb, void* userData) {
  if (cb == nullptr) {
    LM_LOGE(kAsyncEventsMgr, "Register Cb failed - Null ptr\n");
    return -1;
  }
  return guard(kAsyncEventsMgr, kUsualWording, -1, [&] {
    std::lock_guard lock(mCallbacksLck);
    mCallbacks.try_emplace(cb, false, userData);
    return 0;
  });
}

void AsyncEvent::startEvent(AsyncEventCallback cb) {
  if (cb == nullptr) {
    return;
  }
  std::lock_guard lock(mCallbacksLck);
  const auto entry = mCallbacks.find(cb);
  if (entry == mCallbacks.end()) {
    return;
  }
  bool& active = std::get<bool>(entry->second);
  if (active) {
    return;
  }
  active = true;
  if (incRefCount() < 1) {
    return;
  }
  startThread();
  setThreadState(THREAD_RUNNING);
  std::lock_guard condLock(mThreadCondLck);
  mThreadCond.notify_all();
}

void AsyncEvent::pauseEvent(AsyncEventCallback cb) {
  if (cb == nullptr) {
    LM_LOGE(kAsyncEventsMgr, "callback is null prt\n");
    return;
  }
  std::lock_guard lock(mCallbacksLck);
  const auto entry = mCallbacks.find(cb);
  if (entry == mCallbacks.end()) {
    return;
  }
  bool& active = std::get<bool>(entry->second);
  if (!active) {
    return;
  }
  active = false;
  if (decRefCount() != 0) {
    return;
  }
  setThreadState(THREAD_PAUSED);
}

int AsyncEvent::incRefCount() {
  std::lock_guard lock(mRefCountLck);
  if (mRefCount == std::numeric_limits<std::int32_t>::max()) {
    return 0;
  }
  return ++mRefCount;
}

int AsyncEvent::decRefCount() {
  std::lock_guard lock(mRefCountLck);
  if (mRefCount < 1) {
    return 0;
  }
  return --mRefCount;
}

void AsyncEvent::setThreadState(int state) {
  std::lock_guard lock(mThreadStateLck);
  if (mThreadState != THREAD_EXIT) {
    mThreadState = state;
  }
}

int AsyncEvent::getThreadState() {
  std::lock_guard lock(mThreadStateLck);
  return mThreadState;
}

int AsyncEvent::analyseThreadState() {
  const int state = getThreadState();
  if (state == THREAD_PAUSED) {
    std::unique_lock lock(mThreadCondLck);
    while (getThreadState() == THREAD_PAUSED) {
      mThreadCond.wait(lock);
    }
  }
  return state;
}

int AsyncEvent::updateSysNodes(const std::string& path, int value) {
  if (!lmsupport::writeNode(path.c_str(), std::to_string(value))) {
    LM_LOGE(kAsyncEventsMgr, "Unable to open %s file", path.c_str());
    return -1;
  }
  return 0;
}
