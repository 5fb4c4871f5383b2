#include "watch/Watch.h"

#include <nlohmann/json.hpp>
#include <optional>
#include <ostream>

#include "Output.h"
#include "OutputFile.h"
#include "watch/Source.h"
#include "watch/Summary.h"
#include "watch/Trace.h"

namespace {

int watch(const EventKind& kind, const WatchOptions& options, Console& console) {
  StopSignals signals;
  std::list<WatchedSource> sources;
  sources.emplace_back(kind, options);
  if (const std::string problem = sources.front().controlProblem(); !problem.empty()) {
    console.beginNote() << "no control node: " << visible(problem)
                        << "; reports are not switched on, name one with --ctrl PATH\n";
  }
  const bool isTraceOnly = isStandardOutput(options.trace);
  std::optional<OutputFile> trace;
  if (!options.trace.empty()) {
    trace.emplace(options.trace, console.out);
  }
  const auto recordings =
      watchSources(sources, options.seconds, options.json || isTraceOnly, signals, console);
  if (trace) {
    writeTrace(recordings, trace->stream());
    trace->finish();
  }
  const Recording& recording = recordings.front();
  if (options.json && !isTraceOnly) {
    nlohmann::ordered_json figures = {{"source", kind.name}, {"seconds", recording.seconds()}};
    figures.update(figuresOf(recording));
    printJson(figures, console.out);
  } else if (!isTraceOnly) {
    printSummary(recording, console.out);
  }
  return kSuccess;
}

}  // namespace

int watchVsync(const WatchOptions& options, Console& console) {
  return watch(kVsyncs, options, console);
}

int watchGfx(const WatchOptions& options, Console& console) {
  return watch(kFrames, options, console);
}
