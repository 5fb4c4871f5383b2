#include "report/Report.h"

#include <nlohmann/json.hpp>
#include <optional>
#include <ostream>
#include <stdexcept>

#include "Output.h"
#include "OutputFile.h"
#include "report/Record.h"
#include "watch/Source.h"

namespace {

void requireUse(const ReportOptions& options) {
  if (options.output.empty() && !options.json) {
    throw UsageError(
        "no file for the page: name one with --output FILE, or print its record with --json");
  }
  if (isStandardOutput(options.output) && options.json) {
    throw UsageError("--json and --output both mean standard output");
  }
}

/**
 * Whether a part has no problem; it is left out of the record when it has one. Throws
 * std::runtime_error when its node was named.
 */
bool canWatch(const std::string& part, const std::string& problem, const std::string& named,
              const std::string& option, nlohmann::ordered_json& record) {
  const std::string advice = problem + "; name a node with " + option + " PATH";
  if (!problem.empty() && !named.empty()) {
    throw std::runtime_error("cannot watch " + part + ": " + advice);
  }
  if (!problem.empty()) {
    leaveOut(part, advice, record);
  }
  return problem.empty();
}

/** The sources that can be watched. Throws std::runtime_error when there is none. */
std::vector<WatchedSource*> usableSources(WatchedSource& vsyncs, WatchedSource& frames,
                                          const ReportOptions& options,
                                          nlohmann::ordered_json& record) {
  std::vector<WatchedSource*> sources;
  if (canWatch("vsync", vsyncs.problem(), options.vsyncNode, "--node", record)) {
    sources.push_back(&vsyncs);
  }
  if (canWatch("frames", frames.problem(), options.frameNode, "--frame-node", record)) {
    sources.push_back(&frames);
    canWatch("control", frames.controlProblem(), options.controlNode, "--ctrl", record);
  }
  if (sources.empty()) {
    throw std::runtime_error("nothing to watch: " + vsyncs.problem() + "; " + frames.problem() +
                             "; name nodes with --node and --frame-node, or try --sample");
  }
  return sources;
}

}  // namespace

int makeReport(const ReportOptions& options, Console& console) {
  requireUse(options);
  const bool isQuiet = options.json || isStandardOutput(options.output);
  nlohmann::ordered_json record = beginRecord();
  StopSignals signals;
  WatchedSource vsyncs(kVsyncs, {options.sample, options.vsyncNode});
  WatchedSource frames(
      kFrames, {options.sample, options.frameNode, options.controlNode, options.controlValue});
  const auto sources = usableSources(vsyncs, frames, options, record);
  std::optional<OutputFile> page;
  if (!options.output.empty()) {
    page.emplace(options.output, console.out);
  }

  watchSources(sources, options.seconds, isQuiet, signals, console);
  for (const WatchedSource* const source : sources) {
    addEvents(source->recording(), record);
  }
  completeRecord(record);
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
