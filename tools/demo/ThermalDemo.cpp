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

#include <cmath>
#include <thread>

#include "watch/SampleZone.h"

namespace {

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

}  // namespace

StepResult demonstrateThermal(DemoScene& scene) try {
  SampleZone zone;
  startFetching();
  int arrived = 0;
  for (const int milliCelsius : {41000, 46500, 55500}) {
    const auto begin = Clock::now();
    zone.set(milliCelsius);
    if (waitForReading(milliCelsius)) {
      ++arrived;
      scene.console.out << "zone cpu   " << milliCelsius / 1000.0 << " C   read after "
                        << std::lround(toUs(Clock::now() - begin) / 1000) << " ms\n";
    }
  }
  ThermalEvent::getInstance()->pauseEvent(onThermal);
  return {std::to_string(arrived) + " of 3 temperatures of a sample zone read",
          outcomeOf(arrived == 3)};
} catch (const std::runtime_error&) {
  return noNamespaces(scene);
}

#else

StepResult demonstrateThermal(DemoScene& scene) {
  startFetching();
  ThermalEvent::getInstance()->pauseEvent(onThermal);
  scene.console.out << "started and paused; the readings are the platform listener's\n";
  return {"the platform's listener started", Outcome::kOk};
}

#endif
