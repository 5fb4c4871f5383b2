#pragma once

#include <mutex>

#include "AsyncEventsMgr.h"
#include "HostNameNode.h"

/** A source with what a test needs of its insides. */
class OpenSource : public VsyncEvent {
 public:
  bool hasThread() const { return mThread != nullptr; }

  using VsyncEvent::mThreadCond;
  using VsyncEvent::mThreadCondLck;
};

/** A source that can be destroyed in any state: it wakes and notifies its thread a last time. */
class TestSource : public OpenSource {
 public:
  explicit TestSource(const HostNameNode& node) : mNode(node) {}

  ~TestSource() override {
    setThreadState(THREAD_EXIT);
    {
      std::lock_guard lock(mThreadCondLck);
      mThreadCond.notify_all();
    }
    mNode.notify();
  }

 private:
  const HostNameNode& mNode;
};
