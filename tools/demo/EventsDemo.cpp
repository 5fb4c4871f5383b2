#include <algorithm>
#include <cmath>
#include <memory>
#include <ostream>
#include <thread>

#include "demo/Steps.h"
#include "watch/Source.h"
#include "watch/Summary.h"
#include "watch/Thermal.h"

namespace {

/** Waits for up to two seconds until these zones are read. */
bool waitForZones(const ThermalZones& zones) {
  const auto end = Clock::now() + std::chrono::seconds(2);
  while (thermalZones() != zones && Clock::now() < end) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return thermalZones() == zones;
}

/** Watches a source for a while; shows a count on a terminal only, as a pipe would keep every line. */
Watched::Events watch(WatchedSource& source, DemoScene& scene) {
  scene.console.out << "node       " << source.node() << ", at " << Feed::kRateHz << " Hz for "
                    << scene.options.seconds << " s\n";
  const auto lines = [&](std::size_t) { return std::vector{source.counts()}; };
  source.start();
  const Clock::time_point begin = Clock::now();
  scene.isStopped =
      showProgress(scene.console, scene.signals, endAfter(scene.options.seconds, begin),
                   scene.console.live ? lines : ProgressLines());
  source.pause();
  return {source.node(), begin, Clock::now(), source.recorder().recording()};
}

/**
 * From each notification to its event, the first one before the next notification. Those of other
 * programs, whose notifications of a host name arrive, too, do not count.
 */
std::vector<double> latenciesUs(const std::vector<Clock::time_point>& notified,
                                const std::vector<Clock::time_point>& arrivals) {
  std::vector<double> us;
  for (auto time = notified.begin(); time != notified.end(); ++time) {
    const auto arrival = std::lower_bound(arrivals.begin(), arrivals.end(), *time);
    const bool isLast = std::next(time) == notified.end();
    if (arrival != arrivals.end() && (isLast || *arrival < *std::next(time))) {
      us.push_back(toUs(*arrival - *time));
    }
  }
  return us;
}

/** Whether so many received can be all that were made: on a busy machine some become one. */
bool canBeAll(std::size_t received, std::size_t made) {
  return received > 0 && received * 2 >= made && received * 9 <= made * 10;
}

/** A feed of lmctl's own, or the simulated device's if there is one. */
template <typename Own>
std::unique_ptr<Feed> makeFeed(const std::string& device, const DeviceFeed::Nodes& nodes) {
  if (device.empty()) {
    return std::make_unique<Own>();
  }
  return std::make_unique<DeviceFeed>(device, nodes);
}

}  // namespace

StepResult demonstrateThermal(DemoScene& scene) {
  SampleZone zone;
  startThermal();
  if (!thermalZones()) {
    pauseThermal();
    return {"the platform's listener started", Outcome::kOk};
  }
  int arrived = 0;
  for (const int milliCelsius : {41000, 46500, 55500}) {
    const auto begin = Clock::now();
    zone.set(milliCelsius);
    if (waitForZones({{"cpu", milliCelsius}})) {
      ++arrived;
      scene.console.out << "zone cpu   " << milliCelsius / 1000.0 << " C   read after "
                        << std::lround(toUs(Clock::now() - begin) / 1000) << " ms\n";
    }
  }
  pauseThermal();
  return {std::to_string(arrived) + " of 3 temperatures of a sample zone read",
          outcomeOf(arrived == 3)};
}

StepResult demonstrateVsync(DemoScene& scene) {
  auto owned = makeFeed<HostNameDisplay>(scene.options.device, DeviceFeed::kVsyncs);
  const Feed& feed = *owned;
  WatchedVsyncs source(std::move(owned));
  const Recording& recording = scene.watched.vsync.emplace(watch(source, scene)).recording;
  scene.notified = feed.notified();

  const std::string raised = std::to_string(feed.count());
  scene.console.out << "raised     " << raised << " events\n";
  printVsyncs(recording, scene.console.out);
  if (scene.notified.empty()) {
    return {std::to_string(recording.events) + " of " + raised + " received",
            outcomeOf(canBeAll(recording.events, feed.count()))};
  }
  const std::vector<double> us = latenciesUs(scene.notified, recording.arrivals);
  const Distribution latency(us, kMicroseconds);
  scene.console.out << "latency    " << (us.empty() ? "none" : latency.summary()) << "\n";
  return {std::to_string(us.size()) + " of " + raised + " received, latency " +
              fixed(latency.median(), 1) + " us",
          outcomeOf(canBeAll(us.size(), feed.count()))};
}

StepResult demonstrateFrames(DemoScene& scene) {
  auto owned = makeFeed<FifoFrames>(scene.options.device, DeviceFeed::kFrames);
  const Feed& feed = *owned;
  WatchedFrames source(std::move(owned));
  const Recording& recording = scene.watched.frames.emplace(watch(source, scene)).recording;
  scene.console.out << "reported   " << feed.count() << " frames\n";
  printFrames(recording, scene.console.out);
  return {std::to_string(recording.events) + " of " + std::to_string(feed.count()) + " started, " +
              std::to_string(Lateness(recording.intervals.values).events) + " late",
          outcomeOf(canBeAll(recording.events, feed.count()))};
}
