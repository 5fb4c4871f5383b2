#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <android-base/unique_fd.h>

#include "AsyncEventsMgr.h"
#include "config/Nodes.h"
#include "detail/LMLog.h"
#include "events/PollingThread.h"

using lmsupport::kAsyncEventsMgr;

namespace {

constexpr int kVsyncEventType = 1;
constexpr int kPollTimeoutMs = 300000;
constexpr std::size_t kNodeTextSize = 512;

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

void VsyncEvent::startThread() { lmsupport::startPollingThread(mThread, this, kAsyncEventsMgr); }

void VsyncEvent::pollingThreadFunc(VsyncEvent* source) {
  if (source == nullptr) {
    return;
  }
  const int fd = open(source->mSysNode.c_str(), O_RDONLY);
  if (fd < 1) {
    LM_LOGE(kAsyncEventsMgr, "Not able to open (%s) fd(%d) \n", source->mSysNode.c_str(), fd);
    return;
  }
  const android::base::unique_fd node(fd);
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
  for (const auto& [cb, client] : mCallbacks) {
    const auto& [active, userData] = client;
    if (active) {
      cb(kVsyncEventType, nullptr, 0, userData);
    }
  }
}
