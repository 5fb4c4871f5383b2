#include <iomanip>
#include <memory>
#include <ostream>
#include <sstream>
#include <stdexcept>
#include <system_error>

#include "AsyncEventsMgr.h"
#include "ConfigOverrides.h"
#include "Progress.h"
#include "demo/Steps.h"
#include "testing/Display.h"
#include "testing/EventRecorder.h"

namespace {

std::unique_ptr<Display> makeDisplay(const std::string& device) {
  if (device.empty()) {
    return std::make_unique<HostNameDisplay>();
  }
  return std::make_unique<DeviceDisplay>(device);
}

/** Waits until a first event shows that the polling thread waits on the node. */
bool waitForSource(Display& display, EventRecorder& recorder) {
  constexpr int kAttempts = 200;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    display.raise();
    if (recorder.waitFor(1, std::chrono::milliseconds(10))) {
      std::this_thread::sleep_for(Display::kPeriod);  // lets a second event drain
      recorder.clear();
      return true;
    }
  }
  return false;
}

}  // namespace

StepResult demonstrateVsync(DemoScene& scene) {
  const double seconds = scene.options.seconds;
  std::ostream& out = scene.console.out;
  std::unique_ptr<Display> display;
  try {
    display = makeDisplay(scene.options.device);
  } catch (const std::system_error&) {
    return noNameSpaces(scene);
  }
  ConfigOverrides overrides;
  overrides.set(kVsyncNodeItem, display->node());
  EventRecorder recorder;
  VsyncEvent& source = *VsyncEvent::getInstance();
  source.registerCallBack(EventRecorder::onEvent, &recorder);
  source.startEvent(EventRecorder::onEvent);
  if (!waitForSource(*display, recorder)) {
    source.pauseEvent(EventRecorder::onEvent);
    throw std::runtime_error("no event arrived from " + display->node() +
                             "; check that it can be read");
  }

  out << "node       " << display->node() << ", notified at " << Display::kRateHz << " Hz for "
      << seconds << " s\n";
  const Clock::time_point begin = Clock::now();
  display->start(source);
  scene.isStopped = showProgress(scene.console, scene.signals, begin + fromSeconds(seconds),
                                 progressOnTerminal(scene.console, [&] {
                                   return VsyncTimes{recorder.arrivals()}.progressLine();
                                 }));
  display->stop();
  recorder.waitFor(display->count(), std::chrono::seconds(1));
  source.pauseEvent(EventRecorder::onEvent);

  const VsyncTimes times{recorder.arrivals()};
  scene.notified = display->notified();
  scene.watched.vsync = {{display->node(), begin, Clock::now()}, times};
  const Distribution latency = latencies(scene.notified, times.arrivals);
  out << "raised     " << display->count() << " events\nlatency    " << latency.summary() << "\n";
  times.print(out);
  std::ostringstream done;
  done << times.arrivals.size() << " of " << display->count() << " received, latency " << std::fixed
       << std::setprecision(1) << latency.median() << " us";
  return {done.str(), outcomeOf(!times.arrivals.empty())};
}
