#include "watch/Watch.h"

#include <nlohmann/json.hpp>
#include <optional>
#include <ostream>
#include <stdexcept>

#include "Output.h"
#include "watch/Source.h"
#include "watch/Summary.h"
#include "watch/Trace.h"

namespace {

/** Throws std::runtime_error when there is nothing to watch. */
void requireSource(const WatchedSource& source, const EventKind& kind) {
  if (const std::string problem = source.problem(); !problem.empty()) {
    throw std::runtime_error("cannot watch " + std::string(kind.name) + ": " + problem +
                             "; name a node with --node PATH, or try --sample");
  }
}

/** Notes that reports of frames are not switched on. Throws std::runtime_error when they should be. */
void checkControl(const WatchedSource& source, const std::string& named, const Console& console) {
  const std::string problem = source.controlProblem();
  if (problem.empty()) {
    return;
  }
  const std::string text = "no control node: " + problem;
  if (!named.empty()) {
    throw std::runtime_error(text + "; name another with --ctrl PATH");
  }
  console.beginNote() << visible(text)
                      << "; reports are not switched on, name one with --ctrl PATH\n";
}

void printFigures(const Recording& recording, std::ostream& out) {
  nlohmann::ordered_json figures = {{"source", recording.kind.name},
                                    {"seconds", recording.seconds()}};
  figures.update(figuresOf(recording));
  printJson(figures, out);
}

int watch(const EventKind& kind, const WatchOptions& options, Console& console) {
  StopSignals signals;
  WatchedSource source(kind, options);
  requireSource(source, kind);
  checkControl(source, options.control, console);
  const bool isTraceOnly = isStandardOutput(options.trace);
  std::optional<TraceWriter> trace;
  if (!options.trace.empty()) {
    trace.emplace(options.trace, Clock::now(), console.out);
  }
  watchSources({&source}, options.seconds, options.json || isTraceOnly, signals, console);
  const Recording recording = source.recording();
  if (trace) {
    trace->add(recording);
    trace->finish();
  }
  if (options.json && !isTraceOnly) {
    printFigures(recording, console.out);
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
