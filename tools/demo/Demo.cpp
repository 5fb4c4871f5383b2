#include "demo/Demo.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iomanip>
#include <nlohmann/json.hpp>
#include <sstream>
#include <stdexcept>
#include <system_error>

#include "NodeChecks.h"
#include "Output.h"
#include "OutputFile.h"
#include "demo/Steps.h"
#include "report/Record.h"
#include "watch/Trace.h"

namespace {

struct Step {
  const char* service;  ///< empty for another part of the last one
  std::string part;     ///< of the service, with a colon; empty for all of it
  const char* title;
  StepResult (*demonstrate)(DemoScene&);
};

const Step kSteps[] = {
    {"process lookup", "", "Process lookup: a name among the foreground tasks", demonstrateLookup},
    {"event sources", "thermal: ", "Event sources: temperatures", demonstrateThermal},
    {"", "vsync: ", "Event sources: vsync", demonstrateVsync},
    {"", "frames: ", "Event sources: graphics frames", demonstrateFrames},
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

/** Runs a step and adds its line to the summary; a failure's reason goes to err. */
bool run(const Step& step, DemoScene& scene, std::ostream& summary) {
  Console& console = scene.console;
  printHeadline(step.title, console);
  StepResult result = {"see the error above", false};
  std::string outcome = console.style.warning("missing");
  try {
    result = step.demonstrate(scene);
    outcome = result.worked ? console.style.good("ok") : console.style.error("failed");
  } catch (const Missing& e) {
    result = {e.what(), true};
  } catch (const std::system_error& e) {
    console.out << "left out   " << e.what() << "\n";
    result = {"needs a namespace of its own", true};
  } catch (const std::exception& e) {
    console.out << std::flush;
    console.beginError("lmctl demo") << visible(e.what()) << "\n";
    outcome = console.style.error("failed");
  }
  summary << std::left << std::setw(17) << step.service << std::setw(56) << step.part + result.done
          << outcome << "\n";
  return result.worked;
}

/** Throws std::runtime_error when folder does not have the nodes of the simulated device. */
void requireDevice(const std::string& folder) {
  constexpr std::pair<const char*, int> kNodes[] = {{"/vsync", R_OK},      {"/vsyncs", R_OK},
                                                    {"/vsync_rate", W_OK}, {"/frame_data", R_OK},
                                                    {"/frames", R_OK},     {"/frame_ctrl", W_OK}};
  for (const auto& [name, access] : kNodes) {
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
  OutputFile trace(folder + "/demo-trace.json", console.out);
  OutputFile page(folder + "/demo-report.html", console.out);
  nlohmann::ordered_json record = beginRecord();
  StopSignals signals;
  DemoScene scene{options, console, signals, record};
  console.out << "The services of liblmsupport, on "
              << (options.device.empty() ? "sample data and nodes"
                                         : "the nodes of " + visible(options.device))
              << "\n";
  std::ostringstream summary;
  bool worked = true;
  std::size_t left = std::size(kSteps);
  for (const Step* step = kSteps; left > 0 && !signals.waitUntil(Clock::now()); ++step, --left) {
    worked = run(*step, scene, summary) && worked;
  }
  printHeadline("Summary", console);
  console.out << summary.str();
  if (left > 0) {
    console.out << "stopped; " << left << " steps left out\n";
  }

  writeTrace(scene.recordings, trace.stream());
  trace.finish();
  completeRecord(scene.recordings, record);
  page.stream() << reportPage(record);
  page.finish();
  console.out << "\n"
              << visible(folder) << "/demo-report.html   for a browser\n"
              << visible(folder) << "/demo-trace.json    for ui.perfetto.dev\n";
  return worked ? kSuccess : kFailure;
}
