#include <alloca.h>
#include <unistd.h>

#include <cstring>

#include "AsyncEventsMgr.h"
#include "config/Nodes.h"
#include "detail/LMLog.h"
#include "events/CheckedSum.h"
#include "events/PollingThread.h"

using lmsupport::checkedSum;
using lmsupport::guard;
using lmsupport::kAsyncEventsMgrGfx;
using lmsupport::kUsualWording;
using lmsupport::nodePath;

namespace {

constexpr int kGfxEventType = 2;
constexpr int kReportsOff = -1;
constexpr char kThreadName[] = "LmGfxEvent";

}  // namespace

unsigned long GfxEvent::sExpectedSeq = 0;
int GfxEvent::sLostCount = 0;

GfxEvent* GfxEvent::getInstance() {
  static GfxEvent instance;
  return &instance;
}

GfxEvent::GfxEvent() { setGfxSysNodes(); }

GfxEvent::~GfxEvent() {
  setThreadState(THREAD_EXIT);
  if (mThread != nullptr && mThread->joinable()) {
    mThread->join();
  }
  delete mThread;
}

void GfxEvent::setGfxSysNodes() {
  ConfigStore* const store = lmsupport::configStore();
  if (store == nullptr) {
    return;
  }
  mSysNode = nodePath(*store, kGfxDataNodeItem).text;
  mGfxCtrlNode = nodePath(*store, kGfxCtrlNodeItem).text;
}

void GfxEvent::startThread() {
  lmsupport::startPollingThread(mThread, this, kThreadName, kAsyncEventsMgrGfx);
}

void GfxEvent::pollingThreadFunc(GfxEvent* source) {
  const auto pageSize = static_cast<std::size_t>(getpagesize());
  char* const page = static_cast<char*>(alloca(pageSize));
  if (source == nullptr) {
    return;
  }
  std::memset(page, 0, pageSize);
  std::string path;
  const bool copied = guard(kAsyncEventsMgrGfx, kUsualWording, false, [&] {
    std::lock_guard lock(source->mFrameLock);  // against a start by another client
    path = source->mSysNode;
    return true;
  });
  if (!copied) {
    return;
  }
  const auto node = lmsupport::openPolledNode(path, kAsyncEventsMgrGfx);
  if (!node.ok()) {
    return;
  }
  while (source->analyseThreadState() != THREAD_EXIT) {
    const ssize_t size = read(node.get(), page, pageSize - 2);
    page[pageSize - 1] = '\0';
    GfxFrameData data;
    // Where memory runs out, what was read so far is delivered.
    guard(kAsyncEventsMgrGfx, kUsualWording, [&] { source->stringParser(page, data); });
    source->processCb(data);
    lseek(node.get(), 0, SEEK_SET);
    // Only what was read is not zero any more; after a failed read that may be anything.
    std::memset(page, 0, size < 0 ? pageSize : static_cast<std::size_t>(size));
  }
}

void GfxEvent::processCb(GfxFrameData& data) {
  std::lock_guard lock(mCallbacksLck);
  lmsupport::callActive(mCallbacks, kGfxEventType, &data);
}

void GfxEvent::startEvent(AsyncEventCallback cb, int value) {
  std::lock_guard lock(mFrameLock);
  setGfxSysNodes();
  mFrameStages.clear();
  updateSysNodes(mGfxCtrlNode, value);
  AsyncEvent::startEvent(cb);
}

void GfxEvent::pauseEvent(AsyncEventCallback cb) {
  std::lock_guard lock(mFrameLock);
  mFrameStages.clear();
  updateSysNodes(mGfxCtrlNode, kReportsOff);
  AsyncEvent::pauseEvent(cb);
}

void GfxEvent::dataLossCounter(unsigned long seq) {
  if (sExpectedSeq == 0 || sExpectedSeq == seq) {
    sExpectedSeq = checkedSum(seq, 1);
  } else if (seq > sExpectedSeq) {
    const auto lost = static_cast<unsigned long>(sLostCount);
    sLostCount = static_cast<int>(checkedSum(lost, seq - sExpectedSeq));
    sExpectedSeq = checkedSum(seq, 1);
  } else {
    sExpectedSeq = 0;
  }
}
