#include "WatchVsync.h"

#include <iomanip>
#include <ostream>
#include <sstream>

#include "AsyncEventsMgr.h"
#include "Distribution.h"
#include "Progress.h"

namespace {

std::string eventsAndRate(const EventRecorder& recorder) {
  std::ostringstream text;
  text << recorder.count() << " events   " << std::fixed << std::setprecision(1)
       << recorder.rateHz() << " Hz";
  return text.str();
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
  EventRecorder recorder;
  const Clock::time_point begin = Clock::now();
  const Clock::time_point end =
      options.seconds > 0 ? begin + fromSeconds(options.seconds) : Clock::time_point::max();
  source.registerCallBack(EventRecorder::onEvent, &recorder);
  source.startEvent(EventRecorder::onEvent);
  showProgress(
      console, signals, end,
      options.json ? ProgressLine() : [&] { return eventsAndRate(recorder); });
  source.pauseEvent(EventRecorder::onEvent);

  if (options.json) {
    printJson(recorder, std::chrono::duration<double>(Clock::now() - begin).count(), console.out);
  } else {
    printText(recorder, console.out);
  }
  return kSuccess;
}
