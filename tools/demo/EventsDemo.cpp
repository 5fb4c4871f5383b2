#include <algorithm>
#include <fstream>
#include <nlohmann/json.hpp>
#include <ostream>
#include <thread>

#include "config/Nodes.h"
#include "demo/Steps.h"
#include "watch/Source.h"
#include "watch/Summary.h"
#include "watch/Thermal.h"

namespace {

/** Waits for up to two seconds until the sample zone is read to have this temperature. */
bool waitForTemperature(int milliCelsius) {
  const auto end = Clock::now() + std::chrono::seconds(2);
  while (Clock::now() < end) {
    const auto zones = thermalZones();
    if (zones.size() == 1 && zones[0]["milli_celsius"] == milliCelsius) {
      return true;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return false;
}

std::size_t numberIn(const std::string& node) {
  std::size_t number = 0;
  std::ifstream(node) >> number;
  return number;
}

/** The names of the simulated device's nodes for a kind of events. */
struct DeviceNodes {
  const char* events;
  const char* count;
  const char* rate;
};

/**
 * Watches a sample, or these nodes of the simulated device, for the scene's recordings, too. Returns
 * what was told, and how many events were made. The latest ones are shown on a terminal only, as a pipe
 * would keep every line.
 */
std::pair<Recording, std::size_t> watch(const EventKind& kind, const DeviceNodes& nodes,
                                        DemoScene& scene) {
  const auto& [seconds, device, output] = scene.options;
  std::list<WatchedSource> sources;
  sources.emplace_back(kind, SourceOptions{device.empty(), device + nodes.events,
                                           device + nodes.rate, Sample::kRateHz});
  scene.console.out << "node       " << lmsupport::configuredNodePath(kind.item) << ", at "
                    << Sample::kRateHz << " Hz for " << seconds << " s\n";
  const std::size_t before = numberIn(device + nodes.count);
  const auto recordings =
      watchSources(sources, seconds, !scene.console.live, scene.signals, scene.console);
  const std::size_t made = numberIn(device + nodes.count) - before;
  const Recording& recording = scene.recordings.emplace_back(recordings[0]);
  return {recording, device.empty() ? recording.made.size() : made};
}

/**
 * From each notification to its event, the first one within a period. Those of other programs, whose
 * notifications of a host name arrive, too, do not count.
 */
std::vector<double> latenciesUs(const Recording& recording) {
  const std::vector<Clock::time_point>& arrivals = recording.arrivals;
  std::vector<double> us;
  for (const Clock::time_point time : recording.made) {
    const auto arrival = std::lower_bound(arrivals.begin(), arrivals.end(), time);
    if (arrival != arrivals.end() && *arrival - time < Sample::kPeriod) {
      us.push_back(toUs(*arrival - time));
    }
  }
  return us;
}

/** Whether so many received can be all that were made: on a busy machine some become one. */
bool canBeAll(std::size_t received, std::size_t made) {
  return received > 0 && received * 2 >= made && received * 9 <= made * 10;
}

}  // namespace

StepResult demonstrateThermal(DemoScene& scene) {
  constexpr int kMilliCelsius[] = {41000, 46500, 55500};
  makeSampleZone(kMilliCelsius[0]);
  startThermal();
  if (thermalZones().is_null()) {
    pauseThermal();
    return {"the platform's listener started", true};
  }
  int arrived = 0;
  for (const int milliCelsius : kMilliCelsius) {
    const auto begin = Clock::now();
    setSampleZone(milliCelsius);
    if (waitForTemperature(milliCelsius)) {
      ++arrived;
      scene.console.out << "zone cpu   " << milliCelsius / 1000.0 << " C   read after "
                        << fixed(toUs(Clock::now() - begin) / 1000, 0) << " ms\n";
    }
  }
  pauseThermal();
  return {std::to_string(arrived) + " of 3 temperatures of a sample zone read", arrived == 3};
}

StepResult demonstrateVsync(DemoScene& scene) {
  const auto [recording, raised] = watch(kVsyncs, {"/vsync", "/vsyncs", "/vsync_rate"}, scene);
  scene.console.out << "raised     " << raised << " events\n";
  printSummary(recording, scene.console.out);
  const std::string received = " of " + std::to_string(raised) + " received";
  if (!scene.options.device.empty()) {
    return {std::to_string(recording.events) + received, canBeAll(recording.events, raised)};
  }
  const std::vector<double> us = latenciesUs(recording);
  const Distribution latency(us, kMicroseconds);
  scene.console.out << "latency    " << (us.empty() ? "none" : latency.summary()) << "\n";
  return {std::to_string(us.size()) + received + ", latency " + fixed(latency.median(), 1) + " us",
          canBeAll(us.size(), raised)};
}

StepResult demonstrateFrames(DemoScene& scene) {
  const auto [recording, made] = watch(kFrames, {"/frame_data", "/frames", "/frame_ctrl"}, scene);
  scene.console.out << "reported   " << made << " frames\n";
  printSummary(recording, scene.console.out);
  const auto late = figuresOf(recording)["late"];
  return {std::to_string(recording.events) + " of " + std::to_string(made) + " started, " +
              (late.is_null() ? "none" : late.dump()) + " late",
          canBeAll(recording.events, made)};
}
