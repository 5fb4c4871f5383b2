#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <android-base/unique_fd.h>

#include <algorithm>
#include <fstream>
#include <thread>

#include "AsyncEventsMgr.h"
#include "EventRecorder.h"
#include "HostCore.h"
#include "config/DynamicLoader.h"

namespace {

constexpr auto kLimit = std::chrono::seconds(60);

std::string node(const std::string& name) { return "/sys/kernel/lmdevice/" + name; }

std::size_t readNumber(const std::string& name) {
  std::size_t number = 0;
  EXPECT_TRUE(std::ifstream(node(name)) >> number) << name;
  return number;
}

class DeviceVsync : public testing::Test {
 protected:
  DeviceVsync() {
    setRate(0);
    mSource.registerCallBack(EventRecorder::onEvent, &mRecorder);
    mSource.startEvent(EventRecorder::onEvent);
    EXPECT_TRUE(mRecorder.waitFor(1, kLimit));  // the first poll of a sysfs node returns at once
    mRecorder.clear();
    mRaisedBefore = readNumber("vsyncs");
  }

  ~DeviceVsync() override {
    mSource.setThreadState(THREAD_EXIT);
    mSource.startEvent(EventRecorder::onEvent);
    setRate(60);  // the next vsync ends the thread
  }

  static void setRate(int rateHz) { AsyncEvent::updateSysNodes(node("vsync_rate"), rateHz); }

  /** Notifications that the module has raised so far. */
  std::size_t raised() const { return readNumber("vsyncs") - mRaisedBefore; }

  void waitUntilRaised(std::size_t count) const {
    const auto end = Clock::now() + kLimit;
    while (raised() < count && Clock::now() < end) {
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    ASSERT_GE(raised(), count);
  }

  EventRecorder mRecorder;
  const bool mConfigured = (hostcore::setItem(kVsyncNodeItem, node("vsync")), true);
  VsyncEvent mSource;
  std::size_t mRaisedBefore = 0;
};

TEST_F(DeviceVsync, EveryOneOf600VsyncsIsDelivered) {
  setRate(60);
  EXPECT_TRUE(mRecorder.waitFor(600, kLimit));
  setRate(0);
  EXPECT_TRUE(mRecorder.waitFor(raised(), kLimit));
  EXPECT_EQ(mRecorder.count(), raised());
}

TEST_F(DeviceVsync, NoneIsDeliveredWhilePaused) {
  setRate(60);
  EXPECT_TRUE(mRecorder.waitFor(30, kLimit));
  mSource.pauseEvent(EventRecorder::onEvent);
  const std::size_t whenPaused = mRecorder.count();
  waitUntilRaised(raised() + 60);
  EXPECT_EQ(mRecorder.count(), whenPaused);
  mSource.startEvent(EventRecorder::onEvent);
  EXPECT_TRUE(mRecorder.waitFor(whenPaused + 30, kLimit));
}

TEST(DeviceFrames, EveryFrameIsReadOnceAsThreeRecords) {
  const std::size_t madeBefore = readNumber("frames");
  const android::base::unique_fd data(open(node("frame_data").c_str(), O_RDONLY));
  std::size_t records = 0;
  const auto readRecords = [&] {  // "0 number 1 stage time 0:", three times a frame
    char text[4096];
    const ssize_t size = read(data.get(), text, sizeof(text));
    ASSERT_GT(size, 0);
    records += static_cast<std::size_t>(std::count(text, text + size, ':'));
    lseek(data.get(), 0, SEEK_SET);
  };
  EXPECT_EQ(AsyncEvent::updateSysNodes(node("frame_ctrl"), 120), 0);
  for (int i = 0; i < 120; ++i) {
    readRecords();
  }
  EXPECT_EQ(AsyncEvent::updateSysNodes(node("frame_ctrl"), -1), 0);
  const std::size_t made = readNumber("frames") - madeBefore;
  if (records < 3 * made) {
    readRecords();
  }
  EXPECT_EQ(records, 3 * made);
  EXPECT_EQ(readNumber("frames_lost"), 0u);
}

TEST(DeviceControls, KeepWhatWasWritten) {
  const std::size_t writesBefore = readNumber("writes");
  EXPECT_EQ(AsyncEvent::updateSysNodes(node("control2"), -5), 0);
  std::string text;
  std::ifstream(node("control2")) >> text;
  EXPECT_EQ(text, "-5");
  EXPECT_EQ(readNumber("writes"), writesBefore + 1);
}

}  // namespace
