#include <alloca.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include <android-base/unique_fd.h>

#include "AsyncEventsMgr.h"
#include "config/Nodes.h"
#include "detail/LMLog.h"
#include "events/PollingThread.h"

using lmsupport::guard;
using lmsupport::kAsyncEventsMgrGfx;
using lmsupport::kUsualWording;
using lmsupport::nodePath;

namespace {

constexpr int kGfxEventType = 2;
constexpr int kReportsOff = -1;

/** The number after seq in a sequence. There is none after the largest: that ends the process. */
unsigned long successor(unsigned long seq) {
  unsigned long next = 0;
  if (__builtin_add_overflow(seq, 1, &next)) {
    abort();
  }
  return next;
}

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

void GfxEvent::startThread() { lmsupport::startPollingThread(mThread, this, kAsyncEventsMgrGfx); }

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
  const int fd = open(path.c_str(), O_RDONLY);
  if (fd < 1) {
    LM_LOGE(kAsyncEventsMgrGfx, "Not able to open (%s) fd(%d) \n", path.c_str(), fd);
    return;
  }
  const android::base::unique_fd node(fd);
  while (source->analyseThreadState() != THREAD_EXIT) {
    [[maybe_unused]] const ssize_t ignored = read(node.get(), page, pageSize - 2);
    page[pageSize - 1] = '\0';
    GfxFrameData data;
    // Where memory runs out, what was read so far is delivered.
    guard(kAsyncEventsMgrGfx, kUsualWording, [&] { source->stringParser(page, data); });
    source->processCb(data);
    lseek(node.get(), 0, SEEK_SET);
    std::memset(page, 0, pageSize);
  }
}

void GfxEvent::processCb(GfxFrameData& data) {
  std::lock_guard lock(mCallbacksLck);
  for (const auto& [cb, client] : mCallbacks) {
    const auto& [active, userData] = client;
    if (active) {
      cb(kGfxEventType, &data, 0, userData);
    }
  }
}

void GfxEvent::startEvent(AsyncEventCallback cb, int value) {
  std::lock_guard lock(mFrameLock);
  setGfxSysNodes();
  forgetFrames();
  updateSysNodes(mGfxCtrlNode, value);
  AsyncEvent::startEvent(cb);
}

void GfxEvent::pauseEvent(AsyncEventCallback cb) {
  std::lock_guard lock(mFrameLock);
  forgetFrames();
  updateSysNodes(mGfxCtrlNode, kReportsOff);
  AsyncEvent::pauseEvent(cb);
}

void GfxEvent::forgetFrames() {
  mFrameStages.clear();
  mSpareFrames.clear();
}

void GfxEvent::dataLossCounter(unsigned long seq) {
  if (sExpectedSeq == 0 || sExpectedSeq == seq) {
    sExpectedSeq = successor(seq);
  } else if (seq > sExpectedSeq) {
    unsigned long sum = 0;
    if (__builtin_add_overflow(static_cast<unsigned long>(sLostCount), seq - sExpectedSeq, &sum)) {
      abort();
    }
    sLostCount = static_cast<int>(sum);
    sExpectedSeq = successor(seq);
  } else {
    sExpectedSeq = 0;
  }
}
