#include "FramesDemo.h"

#include <memory>
#include <ostream>

#include "AsyncEventsMgr.h"
#include "ConfigOverrides.h"
#include "Display.h"
#include "FrameFeed.h"
#include "FrameRecorder.h"
#include "Progress.h"

namespace {

std::unique_ptr<FrameFeed> makeFeed(const std::string& device) {
  if (device.empty()) {
    return std::make_unique<FifoFrames>();
  }
  return std::make_unique<DeviceFrames>(device);
}

}  // namespace

int demonstrateFrames(const DemoOptions& options, Console& console) {
  const std::unique_ptr<FrameFeed> feed = makeFeed(options.device);
  ConfigOverrides overrides;
  overrides.set(kGfxDataNodeItem, feed->node());
  overrides.set(kGfxCtrlNodeItem, feed->controlNode());
  const StopSignals signals;
  FrameRecorder recorder;
  GfxEvent& source = *GfxEvent::getInstance();
  source.registerCallBack(FrameRecorder::onEvent, &recorder);

  console.out << "Graphics frames from " << feed->node() << ", reported at " << Display::kRateHz
              << " Hz for " << options.seconds << " s\n";
  source.startEvent(FrameRecorder::onEvent, feed->controlValue());
  feed->start();
  showProgress(console, signals, Clock::now() + fromSeconds(options.seconds),
               [&] { return recorder.progressLine(); });
  feed->stop();
  recorder.waitFor(feed->count(), std::chrono::seconds(1));
  source.pauseEvent(FrameRecorder::onEvent);

  console.out << "reported   " << feed->text() << "\n";
  const FrameTimes times = recorder.times();
  times.print(console.out);
  return times.started > 0 ? kSuccess : kFailure;
}
