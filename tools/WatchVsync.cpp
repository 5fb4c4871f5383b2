#include "WatchVsync.h"

#include <optional>
#include <ostream>

#include "AsyncEventsMgr.h"
#include "IntervalView.h"
#include "Progress.h"
#include "Rows.h"
#include "Trace.h"
#include "VsyncTimes.h"
#include "testing/EventRecorder.h"

namespace {

std::vector<std::string> liveLines(const EventRecorder& recorder, const Screen& screen) {
  const VsyncTimes all{recorder.arrivals()};
  const VsyncTimes latest{recorder.latest(Clock::now() - kRecent, kRecentEvents)};
  return intervalLines({.source = "vsync",
                        .count = all.arrivals.size(),
                        .events = "events",
                        .rateHz = all.rateHz(),
                        .recent = latest.intervalsUs(),
                        .unit = kMicroseconds},
                       screen);
}

}  // namespace

int watchVsync(VsyncEvent& source, const WatchOptions& options, Console& console) {
  const StopSignals signals;
  const Clock::time_point begin = Clock::now();
  std::optional<TraceWriter> trace;
  if (!options.trace.empty()) {
    trace.emplace(options.trace, console.out, begin);
  }
  EventRecorder recorder;
  source.registerCallBack(EventRecorder::onEvent, &recorder);
  source.startEvent(EventRecorder::onEvent);
  showProgress(
      console, signals, options.endAfter(begin),
      options.json ? ProgressLine()
                   : [&] { return VsyncTimes{recorder.arrivals()}.progressLine(); },
      [&](const Screen& screen) { return liveLines(recorder, screen); });
  source.pauseEvent(EventRecorder::onEvent);

  const VsyncTimes times{recorder.arrivals()};
  if (options.json) {
    Rows summary = {{"source", "vsync"}, {"seconds", toSeconds(Clock::now() - begin)}};
    summary.update(times.toJson());
    printJson(summary, console.out);
  } else {
    times.print(console.out);
  }
  if (trace) {
    trace->addInstants("vsync", times.arrivals);
    trace->finish();
  }
  return kSuccess;
}
