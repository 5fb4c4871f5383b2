#include <memory>
#include <ostream>

#include "AsyncEventsMgr.h"
#include "ConfigOverrides.h"
#include "FrameRecorder.h"
#include "Progress.h"
#include "demo/Steps.h"
#include "testing/Display.h"
#include "testing/FrameFeed.h"

namespace {

std::unique_ptr<FrameFeed> makeFeed(const std::string& device) {
  if (device.empty()) {
    return std::make_unique<FifoFrames>();
  }
  return std::make_unique<DeviceFrames>(device);
}

}  // namespace

StepResult demonstrateFrames(DemoScene& scene) {
  const double seconds = scene.options.seconds;
  std::ostream& out = scene.console.out;
  const std::unique_ptr<FrameFeed> feed = makeFeed(scene.options.device);
  ConfigOverrides overrides;
  overrides.set(kGfxDataNodeItem, feed->node());
  overrides.set(kGfxCtrlNodeItem, feed->controlNode());
  FrameRecorder recorder;
  GfxEvent& source = *GfxEvent::getInstance();
  source.registerCallBack(FrameRecorder::onEvent, &recorder);

  out << "node       " << feed->node() << ", frames at " << Display::kRateHz << " Hz for "
      << seconds << " s\n";
  const Clock::time_point begin = Clock::now();
  source.startEvent(FrameRecorder::onEvent, feed->controlValue());
  feed->start();
  scene.isStopped =
      showProgress(scene.console, scene.signals, begin + fromSeconds(seconds),
                   progressOnTerminal(scene.console, [&] { return recorder.progressLine(); }));
  feed->stop();
  recorder.waitFor(feed->count(), std::chrono::seconds(1));
  source.pauseEvent(FrameRecorder::onEvent);

  out << "reported   " << feed->text() << "\n";
  const FrameTimes times = recorder.times();
  times.print(out);
  scene.watched.frames = {{feed->node(), begin, Clock::now()}, times};
  return {std::to_string(times.started) + " of " + std::to_string(feed->count()) + " started, " +
              std::to_string(Lateness(times.intervals.ms).frames) + " late",
          outcomeOf(times.started > 0)};
}
