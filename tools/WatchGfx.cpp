#include "WatchGfx.h"

#include <optional>
#include <ostream>

#include "AsyncEventsMgr.h"
#include "FrameRecorder.h"
#include "IntervalView.h"
#include "Progress.h"
#include "Rows.h"
#include "Trace.h"

namespace {

std::vector<std::string> liveLines(const FrameRecorder& recorder, const Screen& screen) {
  const auto [count, rateHz] = recorder.countAndRate();
  return intervalLines({.source = "gfx",
                        .count = count,
                        .events = "frames",
                        .rateHz = rateHz,
                        .recent = recorder.latestIntervals(Clock::now() - kRecent, kRecentEvents),
                        .unit = kMilliseconds},
                       screen);
}

}  // namespace

int watchGfx(GfxEvent& source, int controlValue, const WatchOptions& options, Console& console) {
  const StopSignals signals;
  const Clock::time_point begin = Clock::now();
  std::optional<TraceWriter> trace;
  if (!options.trace.empty()) {
    trace.emplace(options.trace, console.out, begin);
  }
  FrameRecorder recorder;
  source.registerCallBack(FrameRecorder::onEvent, &recorder);
  source.startEvent(FrameRecorder::onEvent, controlValue);
  showProgress(
      console, signals, options.endAfter(begin),
      options.json ? ProgressLine() : [&] { return recorder.progressLine(); },
      [&](const Screen& screen) { return liveLines(recorder, screen); });
  source.pauseEvent(FrameRecorder::onEvent);

  const FrameTimes times = recorder.times();
  if (options.json) {
    Rows summary = {{"source", "gfx"}, {"seconds", toSeconds(Clock::now() - begin)}};
    summary.update(times.toJson());
    printJson(summary, console.out);
  } else {
    times.print(console.out);
  }
  if (trace) {
    trace->addFrames(times);
    trace->finish();
  }
  return kSuccess;
}
