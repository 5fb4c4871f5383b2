#include <ostream>

#include "AsyncEventsMgr.h"
#include "demo/Steps.h"
#include "testing/Clock.h"

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
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <sstream>
#include <thread>

#include "testing/PrivateProcess.h"

namespace {

constexpr std::array kCpuMilliCelsius = {41000, 46500, 55500};

struct Readings {
  bool isPrivate;
  std::size_t arrived;
  std::array<Clock::duration, kCpuMilliCelsius.size()> after;  ///< the zone showed each value
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

/** Warms up a thermal zone of its own. */
Readings watchPrivateZone() {
  Readings readings = {};
  readings.isPrivate = makeFolderPrivate("/sys/class");
  if (!readings.isPrivate) {
    return readings;
  }
  const std::filesystem::path zone = "/sys/class/thermal/thermal_zone0";
  std::filesystem::create_directories(zone);
  std::ofstream(zone / "type") << "cpu\n";
  startFetching();
  for (const int milliCelsius : kCpuMilliCelsius) {
    const auto begin = Clock::now();
    std::ofstream(zone / "temp") << milliCelsius << "\n";
    if (!waitForReading(milliCelsius)) {
      break;
    }
    readings.after[readings.arrived++] = Clock::now() - begin;
  }
  return readings;
}

}  // namespace

StepResult demonstrateThermal(DemoScene& scene) {
  const Readings readings = runInChild(watchPrivateZone);
  if (!readings.isPrivate) {
    return noNameSpaces(scene);
  }
  std::ostringstream lines;
  lines << std::fixed << std::setprecision(1);
  for (std::size_t i = 0; i < readings.arrived; ++i) {
    const double celsius = kCpuMilliCelsius[i] / 1000.0;
    const auto bar = static_cast<std::size_t>(celsius - 30);
    lines << "zone cpu   " << celsius << " C  " << std::string(bar, '#') << "  read after "
          << std::chrono::duration_cast<std::chrono::milliseconds>(readings.after[i]).count()
          << " ms\n";
  }
  scene.console.out << lines.str();
  return {std::to_string(readings.arrived) + " of " + std::to_string(kCpuMilliCelsius.size()) +
              " temperatures of a sample zone read",
          outcomeOf(readings.arrived == kCpuMilliCelsius.size())};
}

#else

StepResult demonstrateThermal(DemoScene& scene) {
  startFetching();
  ThermalEvent::getInstance()->pauseEvent(onThermal);
  scene.console.out << "started and paused; the readings are the platform listener's\n";
  return {"the platform's listener started", Outcome::kOk};
}

#endif
