#include "watch/Watch.h"

#include <nlohmann/json.hpp>
#include <optional>
#include <ostream>
#include <stdexcept>

#include "Output.h"
#include "watch/Progress.h"
#include "watch/Source.h"
#include "watch/Summary.h"
#include "watch/Trace.h"

namespace {

/** So many a live view shows, that it costs the same after a second and after a day. */
constexpr std::size_t kRecentIntervals = 300;

void requireSource(const WatchedSource& source) {
  if (const std::string problem = source.problem(); !problem.empty()) {
    throw std::runtime_error("cannot watch " + std::string(source.kind().name) + ": " + problem +
                             "; name a node with --node PATH, or try --sample");
  }
}

void printSummary(const WatchedSource& source, const Recording& recording, double seconds,
                  bool json, std::ostream& out) {
  if (!json) {
    source.kind().print(recording, out);
    return;
  }
  nlohmann::ordered_json summary = {{"source", source.kind().name}, {"seconds", seconds}};
  summary.update(source.kind().figures(recording));
  printJson(summary, out);
}

int watch(WatchedSource& source, const StopSignals& signals, const WatchOptions& options,
          Console& console) {
  const WatchedSource::Kind& kind = source.kind();
  const Clock::time_point begin = Clock::now();
  const bool isTraceOnly = isStandardOutput(options.trace);
  std::optional<TraceWriter> trace;
  if (!options.trace.empty()) {
    trace.emplace(options.trace, begin, console.out);
  }
  const auto lines = [&](std::size_t width) {
    const auto latest = source.recorder().latest(kRecentIntervals);
    return liveLines({kind.name, kind.noun, latest, kind.unit}, console.style, width);
  };
  source.start();
  showProgress(console, signals, endAfter(options.seconds, begin),
               options.json || isTraceOnly ? ProgressLines() : lines);
  source.pause();

  const Recording recording = source.recorder().recording();
  const double seconds = toSeconds(Clock::now() - begin);
  if (trace) {
    ((*trace).*kind.addToTrace)(recording);
    trace->finish();
  }
  if (!isTraceOnly) {
    printSummary(source, recording, seconds, options.json, console.out);
  }
  return kSuccess;
}

}  // namespace

int watchVsync(const WatchOptions& options, Console& console) {
  const StopSignals signals;
  WatchedVsyncs source(options.sample ? std::make_unique<HostNameDisplay>() : nullptr,
                       options.node);
  requireSource(source);
  return watch(source, signals, options, console);
}

int watchGfx(const WatchOptions& options, Console& console) {
  const StopSignals signals;
  WatchedFrames source(options.sample ? std::make_unique<FifoFrames>() : nullptr, options.node,
                       options.control, options.controlValue);
  requireSource(source);
  if (const std::string problem = source.controlProblem(); !problem.empty()) {
    const std::string text = "no control node: " + problem;
    if (!options.control.empty()) {
      throw std::runtime_error(text + "; name another with --ctrl PATH");
    }
    console.beginNote() << visible(text)
                        << "; reports are not switched on, name one with --ctrl PATH\n";
  }
  return watch(source, signals, options, console);
}
