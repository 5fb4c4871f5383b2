#include <nlohmann/json.hpp>
#include <optional>
#include <ostream>

#include "AsyncEventsMgr.h"
#include "Output.h"
#include "watch/Progress.h"
#include "watch/SampleZone.h"
#include "watch/Summary.h"
#include "watch/Watch.h"

// On a device the listener keeps what it reads to itself.
#if __has_include(<HostThermal.h>)
#include <HostThermal.h>
#endif

namespace {

/** Never called: it only keeps the source going. */
void onThermal(int, void*, int, void*) {}

/** The zones of the last reading, in order of their names. */
nlohmann::ordered_json zones() {
  auto rows = nlohmann::ordered_json::array();
#if __has_include(<HostThermal.h>)
  for (const auto& [zone, milliCelsius] : hostthermal::lastReading()) {
    rows.push_back({{"zone", zone}, {"milli_celsius", milliCelsius}});
  }
#endif
  return rows;
}

std::string readingLine() {
  std::string text;
  for (const auto& row : zones()) {
    text += (text.empty() ? "" : "   ") + visible(row["zone"].get<std::string>()) + " " +
            fixed(row["milli_celsius"].get<double>() / 1000, 1) + " C";
  }
  return text.empty() ? "no thermal zones yet" : text;
}

}  // namespace

int watchThermal(const WatchOptions& options, Console& console) {
  const StopSignals signals;
  std::optional<SampleZone> sample;
  int milliCelsius = 41000;
  if (options.sample) {
    sample.emplace().set(milliCelsius);
  }
  const auto line = [&] {
    std::string reading = readingLine();
    if (sample) {
      sample->set(milliCelsius += 500);
    }
    return reading;
  };
  const Clock::time_point begin = Clock::now();
  ThermalEvent& source = *ThermalEvent::getInstance();
  source.registerCallBack(onThermal, nullptr);
  source.startEvent(onThermal);
  Console lines = console;
  lines.live = false;  // one line a sample, also on a terminal
  showProgress(lines, signals, endAfter(options.seconds, begin),
               options.json ? ProgressLine() : line);
  source.pauseEvent(onThermal);

  const nlohmann::ordered_json read = zones();
  if (options.json) {
    const double seconds = toSeconds(Clock::now() - begin);
    printJson({{"source", "thermal"}, {"seconds", seconds}, {"zones", read}}, console.out);
  } else if (read.empty()) {
    console.out << "no thermal zones here\n";
  } else {
    printTable(read, console.out);
  }
  return kSuccess;
}
