#include "watch/Thermal.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>
#include <ostream>
#include <system_error>

#include "AsyncEventsMgr.h"
#include "Output.h"
#include "testing/PrivateProcess.h"
#include "watch/Progress.h"
#include "watch/Summary.h"
#include "watch/Watch.h"

#if __has_include(<HostThermal.h>)
#include <HostThermal.h>
#endif

namespace {

/** Never called: it only keeps the source going. */
void onThermal(int, void*, int, void*) {}

nlohmann::ordered_json zoneRows() {
  auto rows = nlohmann::ordered_json::array();
  for (const auto& [zone, milliCelsius] : thermalZones().value_or(ThermalZones())) {
    rows.push_back({{"zone", zone}, {"milli_celsius", milliCelsius}});
  }
  return rows;
}

std::string zonesLine() {
  std::string line;
  for (const auto& [zone, milliCelsius] : thermalZones().value_or(ThermalZones())) {
    line +=
        (line.empty() ? "" : "   ") + visible(zone) + " " + fixed(milliCelsius / 1000.0, 1) + " C";
  }
  return line.empty() ? "no thermal zones yet" : line;
}

}  // namespace

SampleZone::SampleZone() {
  if (!makeFolderPrivate("/sys/class")) {
    throw std::system_error(errno, std::generic_category(),
                            "no private mount namespace; run as root or allow user namespaces");
  }
  mkdir("/sys/class/thermal", S_IRWXU);
  mkdir("/sys/class/thermal/thermal_zone0", S_IRWXU);
  std::ofstream("/sys/class/thermal/thermal_zone0/type") << "cpu\n";
}

void SampleZone::set(int milliCelsius) {
  constexpr char kNew[] = "/sys/class/thermal/new";
  std::ofstream(kNew) << milliCelsius << "\n";
  std::rename(kNew, "/sys/class/thermal/thermal_zone0/temp");  // no reader meets half of it
}

void startThermal() {
  ThermalEvent::getInstance()->registerCallBack(onThermal, nullptr);
  ThermalEvent::getInstance()->startEvent(onThermal);
}

void pauseThermal() { ThermalEvent::getInstance()->pauseEvent(onThermal); }

std::optional<ThermalZones> thermalZones() {
#if __has_include(<HostThermal.h>)
  const hostthermal::Reading reading = hostthermal::lastReading();
  return ThermalZones(reading.begin(), reading.end());
#else
  return std::nullopt;
#endif
}

int watchThermal(const WatchOptions& options, Console& console) {
  const StopSignals signals;
  std::optional<SampleZone> sample;
  int milliCelsius = 41000;
  if (options.sample) {
    sample.emplace().set(milliCelsius);
  }
  const Clock::time_point begin = Clock::now();
  startThermal();
  const auto lines = [&](std::size_t) {
    const std::string line = zonesLine();
    if (sample) {
      sample->set(milliCelsius += 500);
    }
    return std::vector{line};
  };
  Console plain = console;
  plain.live = false;  // a line for each sample, on a terminal, too
  showProgress(plain, signals, endAfter(options.seconds, begin),
               options.json ? ProgressLines() : lines);
  pauseThermal();

  const nlohmann::ordered_json rows = zoneRows();
  if (options.json) {
    const double seconds = toSeconds(Clock::now() - begin);
    printJson({{"source", "thermal"}, {"seconds", seconds}, {"zones", rows}}, console.out);
  } else if (rows.empty()) {
    console.out << "no thermal zones here\n";
  } else {
    printTable(rows, console.out);
  }
  return kSuccess;
}
