#include "demo/Demo.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iomanip>
#include <ostream>
#include <stdexcept>
#include <system_error>

#include "NodeChecks.h"
#include "Output.h"
#include "OutputFile.h"
#include "demo/Steps.h"
#include "report/Record.h"

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
    {"service tracker", "", "Service tracker: a sample that dies and returns", demonstrateServices},
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
  } catch (const std::system_error& e) {
    scene.console.out << "left out   " << e.what() << "\n";
    return {"needs a namespace of its own", Outcome::kMissing};
  } catch (const std::exception& e) {
    scene.console.out << std::flush;
    scene.console.beginError("lmctl demo") << visible(e.what()) << "\n";
    return {"see the error above", Outcome::kFailed};
  }
}

std::string outcomeText(Outcome outcome, const Style& style) {
  if (outcome == Outcome::kFailed) {
    return style.error("failed");
  }
  return outcome == Outcome::kOk ? style.good("ok") : style.warning("missing");
}

void printSummary(const std::vector<StepResult>& results, Console& console) {
  printHeadline("Summary", console);
  std::string_view service;
  for (std::size_t i = 0; i < results.size(); ++i) {
    const Step& step = kSteps[i];
    console.out << std::left << std::setw(17) << (service == step.service ? "" : step.service)
                << std::setw(56) << step.part + results[i].done
                << outcomeText(results[i].outcome, console.style) << "\n";
    service = step.service;
  }
  if (const std::size_t left = std::size(kSteps) - results.size(); left > 0) {
    console.out << "stopped; " << left << " steps left out\n";
  }
}

/** Throws std::runtime_error when folder does not have the nodes of the simulated device. */
void requireDevice(const std::string& folder) {
  for (const auto& [name, access] : {std::pair{"/vsync", R_OK},
                                     {"/vsyncs", R_OK},
                                     {"/vsync_rate", W_OK},
                                     {"/frame_data", R_OK},
                                     {"/frames", R_OK},
                                     {"/frame_ctrl", W_OK}}) {
    if (const std::string problem = accessProblem(folder + name, access); !problem.empty()) {
      throw std::runtime_error("no simulated device: " + problem + "; load lmdevice.ko");
    }
  }
}

/** Makes the folder that is wanted, or a fresh one. */
std::string makeFolder(const std::string& wanted) {
  const char* const parent = std::getenv("TMPDIR");
  std::string folder = std::string(parent != nullptr ? parent : P_tmpdir) + "/lmctl-demo-XXXXXX";
  const bool isMade = wanted.empty() ? mkdtemp(folder.data()) != nullptr
                                     : mkdir(wanted.c_str(), 0777) == 0 || errno == EEXIST;
  folder = wanted.empty() ? folder : wanted;
  if (!isMade) {
    throw std::runtime_error("cannot make the folder " + folder + ": " + std::strerror(errno) +
                             "; name another with --output");
  }
  return folder;
}

}  // namespace

int runDemo(const DemoOptions& options, Console& console) {
  if (!options.device.empty()) {
    requireDevice(options.device);
  }
  const std::string folder = makeFolder(options.output);
  TraceWriter trace(folder + "/demo-trace.json", Clock::now(), console.out);
  OutputFile page(folder + "/demo-report.html", console.out);
  nlohmann::ordered_json record = beginRecord();
  StopSignals signals;
  DemoScene scene{options, console, signals, trace, record};
  console.out << "The services of liblmsupport, on "
              << (options.device.empty() ? "sample data and nodes"
                                         : "the nodes of " + visible(options.device))
              << "\n";
  std::vector<StepResult> results;
  for (const Step& step : kSteps) {
    results.push_back(run(step, scene));
    if (signals.waitUntil(Clock::now())) {
      break;
    }
  }

  printSummary(results, console);
  trace.finish();
  completeRecord(record);
  page.stream() << reportPage(record);
  page.finish();
  console.out << "\n"
              << visible(folder) << "/demo-report.html   for a browser\n"
              << visible(folder) << "/demo-trace.json    for ui.perfetto.dev\n";
  const bool failed = std::any_of(results.begin(), results.end(), [](const StepResult& result) {
    return result.outcome == Outcome::kFailed;
  });
  return failed ? kFailure : kSuccess;
}
