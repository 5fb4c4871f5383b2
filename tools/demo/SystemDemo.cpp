#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <nlohmann/json.hpp>
#include <ostream>

#include "AsyncEventsMgr.h"
#include "ConfigOverrides.h"
#include "CpPLHController.h"
#include "Output.h"
#include "Stats.h"
#include "StatsProvider.h"
#include "config/Nodes.h"
#include "demo/RunInChild.h"
#include "demo/Steps.h"
#include "testing/PrivateProcess.h"
#include "testing/TemporaryFolder.h"

namespace {

constexpr char kSelf[] = "/proc/self/exe";
constexpr char kName[] = "com.example.camera";

/** Starts this program under another name, for as long as its parent lives. */
pid_t startNamed(const char* name) {
  const pid_t process = fork();
  if (process == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    execl(kSelf, name, "watch", "thermal", "--json", nullptr);
    _exit(kFailure);
  }
  return process;
}

struct Finding {
  pid_t expected;
  int found;
  Clock::duration duration;
};

/** Looks for a named process in a list of foreground tasks that only this process sees. */
Finding findInPrivateList() {
  Finding finding = {};
  if (makeFolderPrivate("/dev")) {
    finding.expected = startNamed(kName);
    mkdir("/dev/cpuset", S_IRWXU);
    mkdir("/dev/cpuset/top-app", S_IRWXU);
    std::ofstream(kForegroundTasks) << getpid() << "\n" << finding.expected << "\n";
    std::string name = kName;
    const auto begin = Clock::now();
    finding.found = AsyncEvent::getPid(name);
    finding.duration = Clock::now() - begin;
  }
  return finding;
}

}  // namespace

StepResult demonstrateLookup(DemoScene& scene) {
  const Finding finding = runInChild(findInPrivateList);
  if (finding.expected == 0) {
    return noNamespaces(scene);
  }
  const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(finding.duration).count();
  scene.console.out << "started    " << kName << " as " << finding.expected
                    << ", in a sample list of foreground tasks\n"
                    << "found      " << finding.found << " after " << ms << " ms\n";
  return {std::string(kName) + " found in " + std::to_string(ms) + " ms",
          outcomeOf(finding.found == finding.expected)};
}

StepResult demonstrateStats(DemoScene& scene) {
  std::ostream& out = scene.console.out;
  StatsProvider stats = probeQuietly();
  out << "memory     from /proc/meminfo\n";
  printTable(nlohmann::ordered_json::array({memoryFigures(stats.getMemInfo())}), out);
  if (!stats.supportsPidStats) {
    out << "SYSSTATS   this kernel does not have the netlink family\n";
    return {"memory figures; no netlink family SYSSTATS here", Outcome::kMissing};
  }
  constexpr int kLastPid = 300;
  const std::size_t processes = stats.getPIDStatsRange(1, kLastPid).size();
  out << "SYSSTATS   " << processes << " processes with identifiers up to " << kLastPid << "\n";
  return {"memory figures, and records of " + std::to_string(processes) + " processes",
          outcomeOf(processes > 0)};
}

StepResult demonstrateController(DemoScene& scene) {
  const std::string& device = scene.options.device;
  const TemporaryFolder folder;
  ConfigOverrides overrides;
  const auto pathOf = [&](int item) {
    return (device.empty() ? folder.path() : device) + "/control" + std::to_string(item);
  };
  for (const int item : {1, 2, 3}) {
    overrides.set(item, pathOf(item));
  }
  std::vector<CpPLHController::Command> initial = {{1, "powersave"}, {2, "0"}, {3, "0"}};
  CpPLHController::Command governor = {1, "performance"};
  CpPLHController::Command boost = {2, "1"};
  CpPLHController controller(initial, governor, boost, "demo", nullptr);
  controller.commandCp(CpPLHController::kFirstPreset, "", 0);
  controller.commandCp(CpPLHController::kSecondPreset, "2", 0);
  controller.commandCp(CpPLHController::kAnyItem, "7", 3);

  const auto holds = [&](int item, const std::string& expected) {
    std::string text;
    std::getline(std::ifstream(pathOf(item)), text);
    scene.console.out << "item " << item << "     " << text << "\n";
    return text == expected;
  };
  bool written = holds(1, "performance");  // all are shown, whatever the others hold
  written = holds(2, "2") && written;
  written = holds(3, "7") && written;
  return {"initial settings and 3 commands written", outcomeOf(written)};
}
