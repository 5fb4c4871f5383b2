#include "report/Report.h"

#include <memory>
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

/** Leaves a part out that has a problem. Throws std::runtime_error when its node was named. */
void leaveOut(const char* part, const std::string& problem, const std::string& named,
              const char* option, Watched& watched) {
  const std::string advice = problem + "; name a node with " + option + " PATH";
  if (!problem.empty() && !named.empty()) {
    throw std::runtime_error("cannot watch " + std::string(part) + ": " + advice);
  }
  if (!problem.empty()) {
    watched.leaveOut(part, advice);
  }
}

/** The sources that can be watched. */
std::vector<WatchedSource*> usableSources(WatchedVsyncs& vsyncs, WatchedFrames& frames,
                                          const ReportOptions& options, Watched& watched) {
  leaveOut("vsync", vsyncs.problem(), options.vsyncNode, "--node", watched);
  leaveOut("frames", frames.problem(), options.frameNode, "--frame-node", watched);
  std::vector<WatchedSource*> sources;
  if (vsyncs.problem().empty()) {
    sources.push_back(&vsyncs);
  }
  if (frames.problem().empty()) {
    sources.push_back(&frames);
    leaveOut("control", frames.controlProblem(), options.controlNode, "--ctrl", watched);
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
    line += (line.empty() ? "" : "   ") + std::string(source->kind().name) + ": ";
    line += source->counts();
  }
  return line;
}

void requireUse(const ReportOptions& options) {
  if (options.output.empty() && !options.json) {
    throw UsageError(
        "no file for the page: name one with --output FILE, or print its record with --json");
  }
  if (isStandardOutput(options.output) && options.json) {
    throw UsageError("--json and --output both mean standard output");
  }
}

}  // namespace

int makeReport(const ReportOptions& options, Console& console) {
  requireUse(options);
  const bool isQuiet = options.json || isStandardOutput(options.output);
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

  const Clock::time_point begin = Clock::now();
  for (WatchedSource* const source : sources) {
    source->start();
  }
  showProgress(
      console, signals, endAfter(options.seconds, begin),
      isQuiet ? ProgressLines() : [&](std::size_t) { return std::vector{countsLine(sources)}; });
  for (WatchedSource* const source : sources) {
    source->pause();
    auto& events = source == &vsyncs ? watched.vsync : watched.frames;
    events = {source->node(), begin, Clock::now(), source->recorder().recording()};
  }

  const nlohmann::ordered_json record = makeRecord(watched);
  for (const auto& row : record["left_out"]) {
    console.beginNote() << "left out " << row["part"].get<std::string>() << ": "
                        << visible(row["reason"].get<std::string>()) << "\n";
  }
  if (page) {
    page->stream() << reportPage(record);
    page->finish();
  }
  if (options.json) {
    printJson(record, console.out);
  } else if (!isQuiet) {
    console.out << options.output << "\n";
  }
  return kSuccess;
}
