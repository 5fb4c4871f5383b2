#include "demo/Demo.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iomanip>
#include <ostream>
#include <stdexcept>

#include "OutputFile.h"
#include "Trace.h"
#include "demo/Steps.h"
#include "report/ReportPage.h"

namespace {

struct Step {
  const char* service;
  const char* part;  ///< of the service, with a colon; empty for all of it
  const char* title;
  StepResult (*demonstrate)(DemoScene&);
};

constexpr Step kSteps[] = {
    {"process lookup", "", "Process lookup: a name among the foreground tasks", demonstrateLookup},
    {"event sources", "thermal: ", "Event sources: temperatures", demonstrateThermal},
    {"event sources", "vsync: ", "Event sources: vsync", demonstrateVsync},
    {"event sources", "frames: ", "Event sources: graphics frames", demonstrateFrames},
    {"statistics", "", "Statistics and memory", demonstrateStats},
    {"service tracker", "", "Service tracker: a sample that fails, dies and returns",
     demonstrateServices},
    {"row store", "", "Row store: a table in a SQLite file", demonstrateStore},
    {"favourites", "", "Favourite applications: time slots and launch counts",
     demonstrateFavourites},
    {"node commands", "", "Node commands: presets and other items", demonstrateController},
};

void printHeadline(std::string title, Console& console) {
  constexpr std::size_t kWidth = 80;
  title += ' ';
  title.resize(std::max(title.size(), kWidth), '-');
  console.out << "\n" << console.style.bold(title) << "\n";
}

/** Runs a step; a failure's reason goes to err. */
StepResult run(const Step& step, DemoScene& scene) {
  printHeadline(step.title, scene.console);
  try {
    return step.demonstrate(scene);
  } catch (const std::exception& e) {
    scene.console.out << std::flush;
    scene.console.beginError() << e.what() << "\n";
    return {"see the error above", Outcome::kFailed};
  }
}

void printResult(const std::string& service, const std::string& done, Outcome outcome,
                 Console& console) {
  console.out << std::left << std::setw(17) << service << std::setw(56) << done;
  switch (outcome) {
    case Outcome::kOk:
      console.out << console.style.good("ok") << "\n";
      break;
    case Outcome::kMissing:
      console.out << console.style.warning("missing") << "\n";
      break;
    case Outcome::kFailed:
      console.out << console.style.error("failed") << "\n";
      break;
  }
}

std::string makeFolder(const std::string& wanted) {
  if (!wanted.empty()) {
    std::error_code error;
    std::filesystem::create_directories(wanted, error);
    if (!std::filesystem::is_directory(wanted, error)) {
      throw std::runtime_error("cannot make the folder " + wanted + "; name another with --output");
    }
    return wanted;
  }
  std::string folder = std::filesystem::temp_directory_path() / "lmctl-demo-XXXXXX";
  if (mkdtemp(folder.data()) == nullptr) {
    throw std::runtime_error("cannot make " + folder + "; name a folder with --output");
  }
  return folder;
}

void writeTrace(const DemoScene& scene, TraceWriter& trace) {
  if (scene.watched.vsync) {
    trace.addInstants("vsync raised", scene.notified);
    trace.addInstants("vsync received", scene.watched.vsync->times.arrivals);
  }
  if (scene.watched.frames) {
    trace.addFrames(scene.watched.frames->times);
  }
  trace.finish();
}

}  // namespace

int runDemo(const DemoOptions& options, Console& console) {
  const std::string folder = makeFolder(options.output);
  TraceWriter trace(folder + "/demo-trace.json", console.out, Clock::now());
  OutputFile page(folder + "/demo-report.html", console.out);
  const StopSignals signals;
  DemoScene scene{options, console, signals};
  console.out << "The services of liblmsupport, on "
              << (options.device.empty() ? "sample data and private kernel nodes"
                                         : "the nodes of " + options.device)
              << "\n";
  std::vector<StepResult> results;
  for (const Step& step : kSteps) {
    results.push_back(run(step, scene));
    if (scene.isStopped || signals.wait(Clock::duration::zero())) {
      break;
    }
  }

  printHeadline("Summary", console);
  const char* service = "";
  for (std::size_t i = 0; i < results.size(); ++i) {
    const bool isNew = service != std::string_view(kSteps[i].service);
    service = kSteps[i].service;
    printResult(isNew ? service : "", kSteps[i].part + results[i].done, results[i].outcome,
                console);
  }
  if (const std::size_t left = std::size(kSteps) - results.size(); left > 0) {
    console.out << "stopped; " << left << " steps left out\n";
  }
  writeTrace(scene, trace);
  addFigures(scene.watched);
  page.stream() << reportPage(makeRecord(scene.watched));
  page.finish();
  console.out << "\n"
              << folder << "/demo-report.html   for a browser\n"
              << folder << "/demo-trace.json    for ui.perfetto.dev\n";
  const bool failed = std::any_of(results.begin(), results.end(), [](const StepResult& result) {
    return result.outcome == Outcome::kFailed;
  });
  return failed ? kFailure : kSuccess;
}
