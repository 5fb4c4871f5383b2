#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <optional>

#include "AsyncEventsMgr.h"
#include "HostCore.h"
#include "config/DynamicLoader.h"
#include "testing/Threads.h"

namespace {

constexpr auto kLimit = std::chrono::seconds(60);

using Count = std::atomic<std::size_t>;

std::string node(const std::string& name) { return "/sys/kernel/lmdevice/" + name; }

std::size_t readNumber(const std::string& name) {
  std::size_t number = 0;
  EXPECT_TRUE(std::ifstream(node(name)) >> number) << name;
  return number;
}

void writeNumber(const std::string& name, int number) {
  EXPECT_EQ(AsyncEvent::updateSysNodes(node(name), number), 0) << name;
}

void countVsync(int, void*, int, void* count) { ++*static_cast<Count*>(count); }

TEST(DeviceVsync, EachIsDeliveredOnce) {
  writeNumber("vsync_rate", 0);
  hostcore::setItem(kVsyncNodeItem, node("vsync"));
  Count delivered = 0;
  VsyncEvent source;
  source.registerCallBack(countVsync, &delivered);
  source.startEvent(countVsync);
  waitUntil([&] { return delivered > 0; }, kLimit);  // a sysfs node notifies once it is opened
  std::size_t missed = 1;  // a busy host bunches vsyncs up, and the kernel makes one of those
  for (int attempt = 0; attempt < 5 && missed > 0; ++attempt) {
    const std::size_t raisedBefore = readNumber("vsyncs") - delivered;
    writeNumber("vsync_rate", 60);
    waitUntil([&, end = delivered + 120] { return delivered >= end; }, kLimit);
    writeNumber("vsync_rate", 0);
    const std::size_t raised = readNumber("vsyncs") - raisedBefore;
    for (int wait = 0; wait < 100 && delivered < raised; ++wait) {
      usleep(10000);
    }
    missed = raised - delivered;
  }
  EXPECT_EQ(missed, 0u);
  source.setThreadState(THREAD_EXIT);
  writeNumber("vsync_rate", 60);  // the next vsync ends the thread
}

/** Counts the frames that are finished. */
void countFrames(int, void* payload, int, void* count) {
  const auto& data = *static_cast<const GfxFrameData*>(payload);
  for (const double duration : data.firstToSecondStage) {
    EXPECT_NEAR(duration, 4, 1e-6);
  }
  for (const double duration : data.secondToThirdStage) {
    EXPECT_NEAR(duration, 6, 1e-6);
  }
  *static_cast<Count*>(count) += data.secondToThirdStage.size();
}

TEST(DeviceFrames, EachIsToldOnce) {
  hostcore::setItem(kGfxDataNodeItem, node("frame_data"));
  hostcore::setItem(kGfxCtrlNodeItem, node("frame_ctrl"));
  const auto read = [] { return readNumber("frames") - readNumber("frames_lost"); };
  const std::size_t readBefore = read();
  Count told = 0;
  std::optional<GfxEvent> source(std::in_place);
  source->registerCallBack(countFrames, &told);
  source->startEvent(countFrames, 120);
  waitUntil([&] { return told >= 240; }, kLimit);
  writeNumber("frame_ctrl", -1);
  waitUntil([&] { return told == read() - readBefore; }, kLimit);

  source->setThreadState(THREAD_EXIT);
  writeNumber("frame_ctrl", 120);
  source.reset();  // after the next frame
  writeNumber("frame_ctrl", -1);
}

TEST(DeviceLookup, FindsAProcessWhileItIsInTheForeground) {
  std::string name;
  std::getline(std::ifstream("/proc/self/cmdline"), name, '\0');
  EXPECT_EQ(AsyncEvent::getPidExpensive(name), -1);
  std::ofstream("/dev/cpuset/top-app/tasks") << getpid();
  EXPECT_EQ(AsyncEvent::getPidExpensive(name), getpid());
  std::ofstream("/dev/cpuset/tasks") << getpid();
  EXPECT_EQ(AsyncEvent::getPidExpensive(name), -1);
}

}  // namespace
