#include <ostream>

#include "AsyncEventsMgr.h"
#include "demo/Steps.h"

namespace {

/** Never called: it only keeps the source going. */
void onThermal(int, void*, int, void*) {}

void startFetching() {
  ThermalEvent& source = *ThermalEvent::getInstance();
  source.registerCallBack(onThermal, nullptr);
  source.startEvent(onThermal);
}

}  // namespace

// The platform's listener keeps what it reads to itself, and reads the real zones.
#if __has_include(<HostThermal.h>)
#include <HostThermal.h>

#include <array>
#include <thread>

#include "testing/PrivateProcess.h"
#include "watch/SampleZone.h"

namespace {

constexpr std::array kMilliCelsius = {41000, 46500, 55500};

struct Readings {
  bool isPrivate;
  std::size_t arrived;
  std::array<Clock::duration, kMilliCelsius.size()> after;  ///< the zone showed each value
};

/** Whether a reading has the value; waits for it for up to two seconds. */
bool waitForReading(int milliCelsius) {
  const auto end = Clock::now() + std::chrono::seconds(2);
  while (Clock::now() < end) {
    const auto reading = hostthermal::lastReading();
    if (const auto cpu = reading.find("cpu"); cpu != reading.end() && cpu->second == milliCelsius) {
      return true;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return false;
}

Readings watchSampleZone() try {
  Readings readings = {};
  SampleZone zone;
  readings.isPrivate = true;
  startFetching();
  for (const int milliCelsius : kMilliCelsius) {
    const auto begin = Clock::now();
    zone.set(milliCelsius);
    if (!waitForReading(milliCelsius)) {
      break;
    }
    readings.after[readings.arrived++] = Clock::now() - begin;
  }
  return readings;
} catch (const std::runtime_error&) {
  return {};  // no namespace
}

}  // namespace

StepResult demonstrateThermal(DemoScene& scene) {
  const Readings readings = runInChild(watchSampleZone);
  if (!readings.isPrivate) {
    return noNamespaces(scene);
  }
  for (std::size_t i = 0; i < readings.arrived; ++i) {
    scene.console.out
        << "zone cpu   " << kMilliCelsius[i] / 1000.0 << " C   read after "
        << std::chrono::duration_cast<std::chrono::milliseconds>(readings.after[i]).count()
        << " ms\n";
  }
  return {std::to_string(readings.arrived) + " of " + std::to_string(kMilliCelsius.size()) +
              " temperatures of a sample zone read",
          outcomeOf(readings.arrived == kMilliCelsius.size())};
}

#else

StepResult demonstrateThermal(DemoScene& scene) {
  startFetching();
  ThermalEvent::getInstance()->pauseEvent(onThermal);
  scene.console.out << "started and paused; the readings are the platform listener's\n";
  return {"the platform's listener started", Outcome::kOk};
}

#endif
