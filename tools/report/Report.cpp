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

/** The sources that can be watched. Throws std::runtime_error when none can, or not one that was named. */
std::list<WatchedSource> usableSources(const ReportOptions& options,
                                       nlohmann::ordered_json& record) {
  const std::pair<EventKind, SourceOptions> wanted[] = {
      {kVsyncs, {options.sample, options.vsyncNode}},
      {kFrames, {options.sample, options.frameNode, options.controlNode, options.controlValue}}};
  std::list<WatchedSource> sources;
  std::string problems;
  for (const auto& [kind, source] : wanted) {
    try {
      sources.emplace_back(kind, source);
    } catch (const std::runtime_error& e) {
      problems += std::string(problems.empty() ? "" : "; ") + e.what();
      leaveOut(kind.part, e.what(), record);
      if (!source.node.empty() || !source.control.empty()) {
        throw;
      }
    }
  }
  if (sources.empty()) {
    throw std::runtime_error("nothing to watch: " + problems);
  }
  if (const std::string problem = sources.back().controlProblem(); !problem.empty()) {
    leaveOut("control", problem + "; name a node with --ctrl PATH", record);
  }
  return sources;
}

}  // namespace

int makeReport(const ReportOptions& options, Console& console) {
  requireUse(options);
  const bool isQuiet = options.json || isStandardOutput(options.output);
  nlohmann::ordered_json record = beginRecord();
  StopSignals signals;
  std::list<WatchedSource> sources = usableSources(options, record);
  std::optional<OutputFile> page;
  if (!options.output.empty()) {
    page.emplace(options.output, console.out);
  }

  completeRecord(watchSources(sources, options.seconds, isQuiet, signals, console), record);
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
