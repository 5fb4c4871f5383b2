#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <string>
#include <thread>

#include <android-base/unique_fd.h>

#include "testing/FrameParserReference.h"
#include "testing/HostNameNode.h"

/** A vsync source that can be destroyed in any state: it wakes and notifies its thread a last time. */
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

/** A frame node that is a FIFO, so a read waits for text. */
class FrameNode {
 public:
  explicit FrameNode(const std::string& fifo)
      : mFd(open(fifo.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC)) {}

  /** Drops the text where so much is unread that it does not fit. */
  void report(const std::string& text) const {
    [[maybe_unused]] const ssize_t ignored = write(mFd.get(), text.data(), text.size());
  }

 private:
  const android::base::unique_fd mFd;
};

/** The same with a graphics source; its thread may open the node until it has ended. */
class TestGfxSource : public FrameNode, public OpenGfxEvent {
 public:
  using FrameNode::FrameNode;

  ~TestGfxSource() override {
    setThreadState(THREAD_EXIT);
    std::lock_guard lock(mThreadCondLck);
    mThreadCond.notify_all();
    report(":");
  }

  bool hasThread() const { return mThread != nullptr; }
};

/** The same with a thermal source, whose thread rests for a while before it ends. */
class TestThermalSource : public ThermalEvent {
 public:
  ~TestThermalSource() override {
    setThreadState(THREAD_EXIT);
    {
      std::lock_guard lock(mThreadCondLck);
      mThreadCond.notify_all();
    }
    if (mThread != nullptr) {
      mThread->join();
      delete mThread;
    }
  }
};
