#include "WatchVsync.h"

#include <iomanip>
#include <optional>
#include <ostream>
#include <sstream>

#include "AsyncEventsMgr.h"
#include "Distribution.h"
#include "IntervalView.h"
#include "Progress.h"
#include "Trace.h"

namespace {

std::string eventsAndRate(const EventRecorder& recorder) {
  std::ostringstream text;
  text << recorder.count() << " events   " << std::fixed << std::setprecision(1)
       << recorder.rateHz() << " Hz";
  return text.str();
}

std::vector<std::string> liveLines(const EventRecorder& recorder, const Screen& screen) {
  const auto arrivals = recorder.latest(Clock::now() - kRecent, kRecentEvents);
  return intervalLines({.source = "vsync",
                        .count = recorder.count(),
                        .events = "events",
                        .rateHz = recorder.rateHz(),
                        .recent = intervalsUs(arrivals),
                        .unit = kMicroseconds},
                       screen);
}

void printText(const EventRecorder& recorder, std::ostream& out) {
  const Distribution between = intervals(recorder.arrivals());
  out << "vsync      " << eventsAndRate(recorder) << "\ninterval   ";
  between.printSummary(out);
  between.printHistogram(out);
}

void printJson(const EventRecorder& recorder, double seconds, std::ostream& out) {
  const nlohmann::ordered_json summary = {
      {"source", "vsync"},
      {"seconds", seconds},
      {"events", recorder.count()},
      {"rate_hz", recorder.rateHz()},
      {"interval_us", intervals(recorder.arrivals()).toJson()},
  };
  out << summary.dump(2) << "\n";
}

}  // namespace

int watchVsync(VsyncEvent& source, const WatchOptions& options, Console& console) {
  const StopSignals signals;
  const Clock::time_point begin = Clock::now();
  std::optional<TraceWriter> trace;
  if (!options.trace.empty()) {
    trace.emplace(options.trace, begin);
  }
  EventRecorder recorder;
  source.registerCallBack(EventRecorder::onEvent, &recorder);
  source.startEvent(EventRecorder::onEvent);
  showProgress(
      console, signals, options.endAfter(begin),
      options.json ? ProgressLine() : [&] { return eventsAndRate(recorder); },
      [&](const Screen& screen) { return liveLines(recorder, screen); });
  source.pauseEvent(EventRecorder::onEvent);

  if (options.json) {
    printJson(recorder, std::chrono::duration<double>(Clock::now() - begin).count(), console.out);
  } else {
    printText(recorder, console.out);
  }
  if (trace) {
    trace->addInstants("vsync", recorder.arrivals());
    trace->finish();
  }
  return kSuccess;
}
