#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <string>

#include <android-base/unique_fd.h>

#include "testing/FailingNew.h"
#include "testing/FrameParserReference.h"
#include "testing/HostNameNode.h"

/** A source whose thread a derived class can wake for the last time, before Source waits for it. */
template <typename Source>
class EndableSource : public Source {
 protected:
  void wakeToEnd() {
    failingnew::gUnfreed = this->mThread;
    this->setThreadState(THREAD_EXIT);
    std::lock_guard lock(this->mThreadCondLck);
    this->mThreadCond.notify_all();
  }
};

/** A vsync source that can be destroyed in any state. */
class TestSource : public EndableSource<VsyncEvent> {
 public:
  explicit TestSource(const HostNameNode& node) : mNode(node) {}

  ~TestSource() override {
    wakeToEnd();
    mNode.notify();
  }

 private:
  const HostNameNode& mNode;
};

/** A frame node that is a FIFO, so a read waits for text. */
class FrameNode {
 public:
  explicit FrameNode(const std::string& fifo)
      : mFd(open(fifo.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC)) {}

  /** Drops text that does not fit, because too much is unread. */
  void report(const std::string& text) const {
    [[maybe_unused]] const ssize_t ignored = write(mFd.get(), text.data(), text.size());
  }

 private:
  const android::base::unique_fd mFd;
};

/** A graphics source that can be destroyed in any state, and its node, which must exist. */
class TestGfxSource : public FrameNode, public EndableSource<OpenGfxEvent> {
 public:
  using FrameNode::FrameNode;

  ~TestGfxSource() override {
    wakeToEnd();
    report(":");
  }
};

/** A thermal source that can be destroyed in any state. Its thread ends after the period under way. */
class TestThermalSource : public EndableSource<ThermalEvent> {
 public:
  ~TestThermalSource() override {
    wakeToEnd();
    if (mThread != nullptr) {
      mThread->join();
      delete mThread;
    }
  }
};
