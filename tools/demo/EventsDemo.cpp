#include <memory>
#include <ostream>
#include <system_error>

#include "demo/Steps.h"
#include "watch/Source.h"
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

/** Watches a source for a while; shows a count on a terminal only, as a pipe would keep every line. */
Watched::Events watch(WatchedSource& source, DemoScene& scene) {
  scene.console.out << "node       " << source.node() << ", at " << Display::kRateHz << " Hz for "
                    << scene.options.seconds << " s\n";
  source.start();
  const Clock::time_point begin = Clock::now();
  scene.isStopped =
      showProgress(scene.console, scene.signals, endAfter(scene.options.seconds, begin),
                   scene.console.live ? [&] { return source.counts(); } : ProgressLine());
  source.pause();
  return {source.node(), begin, Clock::now(), source.recorder().recording()};
}

/** Whether so many can be those that were expected: on a busy machine some merge with the next. */
bool canBe(std::size_t count, std::size_t expected) {
  return expected > 0 && count * 2 >= expected && count * 9 <= expected * 10;
}

}  // namespace

StepResult demonstrateVsync(DemoScene& scene) try {
  std::ostream& out = scene.console.out;
  auto owned = makeDisplay(scene.options.device);
  const Display& display = *owned;
  WatchedVsyncs source(std::move(owned));
  scene.watched.vsync = watch(source, scene);
  scene.notified = display.notified();

  const Recording& recording = scene.watched.vsync->recording;
  const std::size_t raised = display.count();
  const Distribution latency = latencies(scene.notified, recording.arrivals);
  out << "raised     " << raised << " events\nlatency    "
      << (latency.empty() ? "none" : latency.summary()) << "\n";
  printVsyncs(recording, out);
  const bool isSoon = !latency.empty() && latency.median() < toUs(Display::kPeriod);
  return {std::to_string(recording.events) + " of " + std::to_string(raised) +
              " received, latency " + fixed(latency.median(), 1) + " us",
          outcomeOf(canBe(recording.events, raised) && isSoon)};
} catch (const std::system_error&) {
  return noNamespaces(scene);
}

StepResult demonstrateFrames(DemoScene& scene) {
  auto owned = makeFeed(scene.options.device);
  const FrameFeed& feed = *owned;
  WatchedFrames source(std::move(owned));
  scene.watched.frames = watch(source, scene);

  const Recording& recording = scene.watched.frames->recording;
  scene.console.out << "reported   " << feed.text() << "\n";
  printFrames(recording, scene.console.out);
  return {std::to_string(recording.events) + " of " + std::to_string(feed.count()) + " started, " +
              std::to_string(Lateness(recording.intervals.values).events) + " late",
          outcomeOf(canBe(recording.events, feed.count()))};
}
