#include "report/Report.h"

#include <nlohmann/json.hpp>
#include <optional>
#include <ostream>
#include <stdexcept>

#include "Output.h"
#include "OutputFile.h"
#include "report/Record.h"
#include "watch/Progress.h"
#include "watch/Source.h"

namespace {

/**
 * Whether a source can be watched; notes why not. Throws std::runtime_error when its node was named.
 */
bool isUsable(const char* part, const std::string& problem, const std::string& named,
              const char* option, Watched& watched) {
  if (problem.empty()) {
    return true;
  }
  const std::string advice = problem + "; name a node with " + option + " PATH";
  if (!named.empty()) {
    throw std::runtime_error("cannot watch " + std::string(part) + ": " + advice);
  }
  watched.leaveOut(part, advice);
  return false;
}

/** The sources that can be watched. */
std::vector<WatchedSource*> usableSources(WatchedVsyncs& vsyncs, WatchedFrames& frames,
                                          const ReportOptions& options, Watched& watched) {
  std::vector<WatchedSource*> sources;
  if (isUsable("vsync", vsyncs.problem(), options.vsyncNode, "--node", watched)) {
    sources.push_back(&vsyncs);
  }
  if (isUsable("frames", frames.problem(), options.frameNode, "--frame-node", watched)) {
    sources.push_back(&frames);
    isUsable("control", frames.controlProblem(), options.controlNode, "--ctrl", watched);
  }
  if (sources.empty()) {
    throw std::runtime_error("nothing to watch: " + vsyncs.problem() + "; " + frames.problem() +
                             "; name nodes with --node and --frame-node, or try --sample");
  }
  return sources;
}

std::string countsLine(const std::vector<WatchedSource*>& sources) {
  std::string line;
  for (const WatchedSource* const source : sources) {
    line +=
        (line.empty() ? "" : "   ") + std::string(source->kind().name) + ": " + source->counts();
  }
  return line;
}

void watchSources(const std::vector<WatchedSource*>& sources, const StopSignals& signals,
                  double seconds, bool quiet, Console& console) {
  for (WatchedSource* const source : sources) {
    source->start();
  }
  showProgress(
      console, signals, endAfter(seconds, Clock::now()),
      quiet ? ProgressLine() : [&] { return countsLine(sources); });
  for (WatchedSource* const source : sources) {
    source->pause();
  }
}

}  // namespace

int makeReport(const ReportOptions& options, Console& console) {
  const bool isPageOnly = options.output == "-";
  if (options.output.empty() && !options.json) {
    throw UsageError(
        "no file for the page: name one with --output FILE, or print its record with "
        "--json");
  }
  if (isPageOnly && options.json) {
    throw UsageError("--json and --output - both mean standard output");
  }
  const StopSignals signals;
  Watched watched;
  WatchedVsyncs vsyncs(options.sample ? std::make_unique<HostNameDisplay>() : nullptr,
                       options.vsyncNode);
  WatchedFrames frames(options.sample ? std::make_unique<FifoFrames>() : nullptr, options.frameNode,
                       options.controlNode, options.controlValue);
  const auto sources = usableSources(vsyncs, frames, options, watched);
  std::optional<OutputFile> page;
  if (!options.output.empty()) {
    page.emplace(options.output, console.out);
  }
  addFigures(watched);
  for (const auto& row : watched.leftOut) {
    console.beginNote() << "left out " << row["part"].get<std::string>() << ": "
                        << visible(row["reason"].get<std::string>()) << "\n";
  }
  const Clock::time_point begin = Clock::now();
  watchSources(sources, signals, options.seconds, options.json || isPageOnly, console);
  const Clock::time_point end = Clock::now();
  for (const WatchedSource* const source : sources) {
    const bool isVsync = source == &vsyncs;
    (isVsync ? watched.vsync : watched.frames) =
        Watched::Events{source->node(), begin, end, source->recorder().recording()};
  }

  const nlohmann::ordered_json record = makeRecord(watched);
  if (page) {
    page->stream() << reportPage(record);
    page->finish();
  }
  if (options.json) {
    printJson(record, console.out);
  } else if (!isPageOnly) {
    console.out << options.output << "\n";
  }
  return kSuccess;
}
