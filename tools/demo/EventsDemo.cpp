#include <iomanip>
#include <memory>
#include <ostream>
#include <sstream>
#include <stdexcept>
#include <system_error>

#include "AsyncEventsMgr.h"
#include "ConfigOverrides.h"
#include "demo/Steps.h"
#include "testing/Display.h"
#include "testing/FrameFeed.h"
#include "watch/Summary.h"

namespace {

std::unique_ptr<Display> makeDisplay(const std::string& device) {
  if (device.empty()) {
    return std::make_unique<HostNameDisplay>();
  }
  return std::make_unique<DeviceDisplay>(device);
}

std::unique_ptr<FrameFeed> makeFeed(const std::string& device) {
  if (device.empty()) {
    return std::make_unique<FifoFrames>();
  }
  return std::make_unique<DeviceFrames>(device);
}

/** Waits until a first event shows that the polling thread waits on the node. */
bool waitForSource(Display& display, EventRecorder& recorder) {
  constexpr int kAttempts = 200;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    display.raise();
    if (recorder.waitFor(1, std::chrono::milliseconds(10))) {
      recorder.waitFor(2, std::chrono::milliseconds(100));  // a second one may be on its way
      recorder.clear();
      return true;
    }
  }
  return false;
}

/** Shows a recorder's count, on a terminal only: a pipe would keep every line. */
void showCount(DemoScene& scene, const EventRecorder& recorder, const char* noun) {
  const auto line = [&] { return countText(recorder.latest({}, 0), noun); };
  scene.isStopped =
      showProgress(scene.console, scene.signals, endAfter(scene.options.seconds, Clock::now()),
                   scene.console.live ? ProgressLine(line) : ProgressLine());
}

/** Whether count is about as large as expected. Under load some events merge. */
bool isAbout(std::size_t count, std::size_t expected) {
  return expected > 0 && count * 10 >= expected * 9 && count * 9 <= expected * 10;
}

std::string fixed(double value) {
  std::ostringstream text;
  text << std::fixed << std::setprecision(1) << value;
  return text.str();
}

}  // namespace

StepResult demonstrateVsync(DemoScene& scene) {
  std::ostream& out = scene.console.out;
  std::unique_ptr<Display> display;
  try {
    display = makeDisplay(scene.options.device);
  } catch (const std::system_error&) {
    return noNamespaces(scene);
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
      << scene.options.seconds << " s\n";
  const Clock::time_point begin = Clock::now();
  display->start(source);
  showCount(scene, recorder, "event");
  display->stop();
  recorder.waitFor(display->count(), std::chrono::seconds(1));
  source.pauseEvent(EventRecorder::onEvent);

  const Recording recording = recorder.recording();
  const std::size_t raised = display->count();
  scene.notified = display->notified();
  scene.watched.vsync = {display->node(), begin, Clock::now(), recording};
  const Distribution latency = latencies(scene.notified, recording.arrivals);
  out << "raised     " << raised << " events\n";
  if (recording.events > raised) {
    out << "others     changed a host name, too: their notifications reach every poller\n";
  }
  out << "latency    " << (latency.empty() ? "none" : latency.summary()) << "\n";
  printVsyncs(recording, out);
  const bool isSoon = !latency.empty() && latency.median() < toUs(Display::kPeriod);
  return {std::to_string(recording.events) + " of " + std::to_string(raised) +
              " received, latency " + fixed(latency.median()) + " us",
          outcomeOf(isAbout(recording.events, raised) && isSoon)};
}

StepResult demonstrateFrames(DemoScene& scene) {
  std::ostream& out = scene.console.out;
  const std::unique_ptr<FrameFeed> feed = makeFeed(scene.options.device);
  ConfigOverrides overrides;
  overrides.set(kGfxDataNodeItem, feed->node());
  overrides.set(kGfxCtrlNodeItem, feed->controlNode());
  EventRecorder recorder(kMilliseconds);
  GfxEvent& source = *GfxEvent::getInstance();
  source.registerCallBack(EventRecorder::onEvent, &recorder);

  out << "node       " << feed->node() << ", frames at " << Display::kRateHz << " Hz for "
      << scene.options.seconds << " s\n";
  const Clock::time_point begin = Clock::now();
  source.startEvent(EventRecorder::onEvent, feed->controlValue());
  feed->start();
  showCount(scene, recorder, "frame");
  feed->stop();
  recorder.waitFor(feed->count(), std::chrono::seconds(1));
  source.pauseEvent(EventRecorder::onEvent);

  const Recording recording = recorder.recording();
  out << "reported   " << feed->text() << "\n";
  printFrames(recording, out);
  scene.watched.frames = {feed->node(), begin, Clock::now(), recording};
  return {std::to_string(recording.events) + " of " + std::to_string(feed->count()) + " started, " +
              std::to_string(Lateness(recording.intervals.values).events) + " late",
          outcomeOf(isAbout(recording.events, feed->count()))};
}
