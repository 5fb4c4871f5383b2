#include "watch/Thermal.h"

#include <sys/stat.h>

#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>
#include <ostream>

#include "AsyncEventsMgr.h"
#include "Output.h"
#include "testing/PrivateProcess.h"
#include "watch/Progress.h"
#include "watch/Summary.h"
#include "watch/Watch.h"

#if __has_include(<HostThermal.h>)
#include <HostThermal.h>
#endif

using Json = nlohmann::ordered_json;

namespace {

/** Never called: it only keeps the source going. */
void onThermal(int, void*, int, void*) {}

std::string zonesLine() {
  std::string line;
  for (const Json& row : thermalZones()) {
    line += line.empty() ? "" : "   ";
    line += visible(row["zone"]) + " " + fixed(row["milli_celsius"].get<double>() / 1000, 1) + " C";
  }
  return line.empty() ? "no thermal zones yet" : line;
}

}  // namespace

void makeSampleZone(int milliCelsius) {
  makeFolderPrivate("/sys/class");
  mkdir("/sys/class/thermal", S_IRWXU);
  mkdir("/sys/class/thermal/thermal_zone0", S_IRWXU);
  std::ofstream("/sys/class/thermal/thermal_zone0/type") << "cpu\n";
  setSampleZone(milliCelsius);
}

void setSampleZone(int milliCelsius) {
  constexpr char kNew[] = "/sys/class/thermal/new";
  std::ofstream(kNew) << milliCelsius << "\n";
  std::rename(kNew, "/sys/class/thermal/thermal_zone0/temp");  // no reader meets half of it
}

void startThermal() {
  ThermalEvent::getInstance()->registerCallBack(onThermal, nullptr);
  ThermalEvent::getInstance()->startEvent(onThermal);
}

void pauseThermal() { ThermalEvent::getInstance()->pauseEvent(onThermal); }

Json thermalZones() {
#if __has_include(<HostThermal.h>)
  Json rows = Json::array();
  for (const auto& [zone, milliCelsius] : hostthermal::lastReading()) {
    rows.push_back({{"zone", zone}, {"milli_celsius", milliCelsius}});
  }
  return rows;
#else
  return nullptr;
#endif
}

int watchThermal(const WatchOptions& options, Console& console) {
  StopSignals signals;
  int milliCelsius = 41000;
  if (options.sample) {
    makeSampleZone(milliCelsius);
  }
  const Clock::time_point begin = Clock::now();
  const auto lines = [&](std::size_t) {
    const std::string line = zonesLine();
    if (options.sample) {
      setSampleZone(milliCelsius += 500);
    }
    return std::vector{line};
  };
  startThermal();
  // A line for each sample, on a terminal, too.
  showProgress({console.out, console.err, false}, signals, options.seconds,
               options.json ? ProgressLines() : lines);
  pauseThermal();

  const Json zones = thermalZones();
  if (options.json) {
    const double seconds = toSeconds(Clock::now() - begin);
    printJson({{"source", "thermal"}, {"seconds", seconds}, {"zones", zones}}, console.out);
  } else if (zones.empty()) {
    console.out << "no thermal zones here\n";
  } else {
    printTable(zones, console.out);
  }
  return kSuccess;
}
