#include "WatchThermal.h"

#include <iomanip>
#include <ostream>
#include <sstream>

#include "AsyncEventsMgr.h"
#include "Progress.h"
#include "Rows.h"
#include "ThermalView.h"

// On a device the listener keeps what it reads to itself.
#if __has_include(<HostThermal.h>)
#include <HostThermal.h>
#endif

namespace {

/** Never called: it only keeps the source going. */
void onThermal(int, void*, int, void*) {}

/** The zones of the last reading, in order of their names. */
Rows zones() {
  Rows rows = Rows::array();
#if __has_include(<HostThermal.h>)
  for (const auto& [zone, milliCelsius] : hostthermal::lastReading()) {
    rows.push_back({{"zone", zone}, {"milli_celsius", milliCelsius}});
  }
#endif
  return rows;
}

std::string readingLine() {
  std::ostringstream text;
  const Rows rows = zones();
  text << rows.size() << " zones" << std::fixed << std::setprecision(1);
  for (const Rows& row : rows) {
    text << "   " << row["zone"].get<std::string>() << " "
         << row["milli_celsius"].get<double>() / 1000 << " C";
  }
  return text.str();
}

}  // namespace

int watchThermal(const WatchOptions& options, Console& console) {
  const StopSignals signals;
  const Clock::time_point begin = Clock::now();
  ThermalEvent& source = *ThermalEvent::getInstance();
  ThermalView view;
  source.registerCallBack(onThermal, nullptr);
  source.startEvent(onThermal);
  showProgress(console, signals, options.endAfter(begin),
               options.json ? ProgressLine() : readingLine,
               [&](const Screen& screen) { return view.lines(zones(), screen); });
  source.pauseEvent(onThermal);

  if (options.json) {
    const double seconds = toSeconds(Clock::now() - begin);
    printJson({{"source", "thermal"}, {"seconds", seconds}, {"zones", zones()}}, console.out);
  } else {
    const Rows read = zones();
    if (read.empty()) {
      console.out << "no thermal zones here\n";
    } else {
      printTable(read, console.out);
    }
  }
  return kSuccess;
}
