#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <android-base/unique_fd.h>

#include <algorithm>
#include <atomic>
#include <fstream>
#include <functional>
#include <memory>
#include <thread>

#include "AsyncEventsMgr.h"
#include "HostCore.h"
#include "config/DynamicLoader.h"
#include "testing/EventRecorder.h"

namespace {

constexpr auto kLimit = std::chrono::seconds(60);

std::string node(const std::string& name) { return "/sys/kernel/lmdevice/" + name; }

std::size_t readNumber(const std::string& name) {
  std::size_t number = 0;
  EXPECT_TRUE(std::ifstream(node(name)) >> number) << name;
  return number;
}

TEST(DeviceVsync, EachIsDeliveredOnceAndNoneWhilePaused) {
  const auto setRate = [](int hz) { AsyncEvent::updateSysNodes(node("vsync_rate"), hz); };
  setRate(0);
  hostcore::setItem(kVsyncNodeItem, node("vsync"));
  EventRecorder recorder;
  VsyncEvent source;
  source.registerCallBack(EventRecorder::onEvent, &recorder);
  source.startEvent(EventRecorder::onEvent);
  EXPECT_TRUE(recorder.waitFor(1, kLimit));  // the first poll of a sysfs node returns at once
  std::size_t raisedBefore = 0;
  const auto raised = [&] { return readNumber("vsyncs") - raisedBefore; };
  std::size_t missed = 1;  // a busy host bunches vsyncs up, and the kernel makes one of those
  for (int attempt = 0; attempt < 5 && missed > 0; ++attempt) {
    raisedBefore = readNumber("vsyncs");
    recorder.clear();
    setRate(60);
    EXPECT_TRUE(recorder.waitFor(120, kLimit));
    setRate(0);
    recorder.waitFor(raised(), std::chrono::seconds(1));
    missed = raised() - recorder.count();
  }
  EXPECT_EQ(missed, 0u);

  setRate(60);
  source.pauseEvent(EventRecorder::onEvent);
  const std::size_t whenPaused = recorder.count();
  const auto end = Clock::now() + kLimit;
  while (raised() < whenPaused + missed + 60 && Clock::now() < end) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  EXPECT_LT(Clock::now(), end);
  EXPECT_EQ(recorder.count(), whenPaused);
  source.startEvent(EventRecorder::onEvent);
  EXPECT_TRUE(recorder.waitFor(whenPaused + 30, kLimit));
  source.setThreadState(THREAD_EXIT);  // the next vsync ends the thread
}

TEST(DeviceFrames, EveryFrameIsReadOnceAsThreeRecords) {
  const std::size_t madeBefore = readNumber("frames");
  const android::base::unique_fd data(open(node("frame_data").c_str(), O_RDONLY));
  std::size_t records = 0;
  const auto readRecords = [&] {  // "0 number 1 stage time 0:", three times a frame
    char text[4096];
    const ssize_t size = pread(data.get(), text, sizeof(text), 0);
    ASSERT_GT(size, 0);
    records += static_cast<std::size_t>(std::count(text, text + size, ':'));
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

TEST(DeviceFrames, EachIsToldOnceAndNoneWhilePaused) {
  hostcore::setItem(kGfxDataNodeItem, node("frame_data"));
  hostcore::setItem(kGfxCtrlNodeItem, node("frame_ctrl"));
  static std::atomic<std::size_t> told;
  const auto count = [](int, void* payload, int, void*) {
    const auto& data = *static_cast<const GfxFrameData*>(payload);
    for (const double duration : data.firstToSecondStage) {
      EXPECT_NEAR(duration, 4, 1e-6);
    }
    for (const double duration : data.secondToThirdStage) {
      EXPECT_NEAR(duration, 6, 1e-6);
      ++told;
    }
  };
  const auto waitUntil = [](const std::function<bool()>& condition) {
    for (const auto end = Clock::now() + kLimit; !condition() && Clock::now() < end;) {
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_TRUE(condition());
  };
  const auto read = [] { return readNumber("frames") - readNumber("frames_lost"); };
  const auto setRate = [](int hz) { AsyncEvent::updateSysNodes(node("frame_ctrl"), hz); };
  auto source = std::make_unique<GfxEvent>();
  source->registerCallBack(count, nullptr);
  const std::size_t readBefore = read();
  source->startEvent(count, 120);
  waitUntil([] { return told >= 240; });
  setRate(-1);
  waitUntil([&] { return told == read() - readBefore; });

  source->pauseEvent(count);
  const std::size_t whenPaused = told;
  const std::size_t lostBefore = readNumber("frames_lost");
  setRate(120);  // nobody reads them
  waitUntil([&] { return readNumber("frames_lost") > lostBefore; });
  EXPECT_EQ(told, whenPaused);
  source->startEvent(count, 60);
  EXPECT_EQ(readNumber("frame_ctrl"), 60u);
  waitUntil([&] { return told >= whenPaused + 60; });
  source->setThreadState(THREAD_EXIT);
  source.reset();  // after the next frame
  setRate(-1);
}

TEST(DeviceControls, KeepWhatWasWritten) {
  const std::size_t writesBefore = readNumber("writes");
  EXPECT_EQ(AsyncEvent::updateSysNodes(node("control2"), 5), 0);
  EXPECT_EQ(readNumber("control2"), 5u);
  EXPECT_EQ(readNumber("writes"), writesBefore + 1);
}

}  // namespace
