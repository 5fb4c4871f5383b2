#pragma once

#include "AsyncEventsMgr.h"
#include "testing/HostNameNode.h"

/** A source that can be destroyed in any state: it wakes and notifies its thread a last time. */
class TestSource : public VsyncEvent {
 public:
  explicit TestSource(const HostNameNode& node) : mNode(node) {}

  ~TestSource() override {
    setThreadState(THREAD_EXIT);
    std::lock_guard lock(mThreadCondLck);
    mThreadCond.notify_all();
    mNode.notify();
  }

  bool hasThread() const { return mThread != nullptr; }

 private:
  const HostNameNode& mNode;
};
