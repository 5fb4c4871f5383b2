#include <poll.h>
#include <unistd.h>

#include "AsyncEventsMgr.h"
#include "config/Nodes.h"
#include "detail/LMLog.h"
#include "events/PollingThread.h"

using lmsupport::kAsyncEventsMgr;

namespace {

constexpr int kVsyncEventType = 1;
constexpr int kPollTimeoutMs = 300000;
constexpr std::size_t kNodeTextSize = 512;
constexpr char kThreadName[] = "LmVsyncEvent";

}  // namespace

VsyncEvent* VsyncEvent::getInstance() {
  static VsyncEvent instance;
  return &instance;
}

VsyncEvent::VsyncEvent() {
  lmsupport::guard(kAsyncEventsMgr, lmsupport::kUsualWording,
                   [&] { mSysNode = lmsupport::configuredNodePath(kVsyncNodeItem); });
}

VsyncEvent::~VsyncEvent() {
  setThreadState(THREAD_EXIT);
  if (mThread != nullptr && mThread->joinable()) {
    mThread->join();
    delete mThread;
  }
}

void VsyncEvent::startThread() {
  lmsupport::startPollingThread(mThread, this, kThreadName, kAsyncEventsMgr);
}

void VsyncEvent::pollingThreadFunc(VsyncEvent* source) {
  if (source == nullptr) {
    return;
  }
  const auto node = lmsupport::openPolledNode(source->mSysNode, kAsyncEventsMgr);
  if (!node.ok()) {
    return;
  }
  pollfd vsync = {.fd = node.get(), .events = POLLPRI, .revents = 0};
  while (source->analyseThreadState() != THREAD_EXIT) {
    if (poll(&vsync, 1, kPollTimeoutMs) < 1) {
      continue;
    }
    // The text means nothing; reading it consumes the notification, and rewinding rearms the poll.
    char text[kNodeTextSize];
    [[maybe_unused]] const ssize_t ignored = read(node.get(), text, sizeof(text));
    source->processCb();
    lseek(node.get(), 0, SEEK_SET);
  }
}

void VsyncEvent::processCb() {
  std::lock_guard lock(mCallbacksLck);
  lmsupport::callActive(mCallbacks, kVsyncEventType, nullptr);
}
