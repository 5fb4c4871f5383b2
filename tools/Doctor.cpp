#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <iomanip>
#include <mutex>
#include <ostream>
#include <shared_mutex>

#include "AsyncEventsMgr.h"
#include "Commands.h"
#include "DependentServices.h"
#include "FetchPreferredApps.h"
#include "NodeChecks.h"
#include "Output.h"
#include "StatsProvider.h"
#include "ThermalListenerV2.h"
#include "config/Nodes.h"

#include <nlohmann/json.hpp>

using nlohmann::ordered_json;

namespace {

constexpr int kRowValuesSince = 3015000;  ///< the version of SQLite
constexpr int kHighestFamilyVersion = 255;
constexpr char kSimulatedDevice[] = "/sys/kernel/lmdevice/";

/** The file of the loaded object that a function is in. */
template <typename Function>
std::string objectFile(Function* function) {
  Dl_info info = {};
  char path[PATH_MAX] = "unknown";
  const bool isKnown = dladdr(reinterpret_cast<const void*>(function), &info) != 0;
  return isKnown && realpath(info.dli_fname, path) == nullptr ? info.dli_fname : path;
}

/** What was found of one service, or what is wrong and how to mend it. */
struct Finding {
  const char* service;
  std::string found;
  std::string problem{};
  std::string whatToDo{};
};

using Report = std::vector<Finding>;

/** The node of an item; simulated is its name on the simulated device. */
Finding node(const char* service, int item, const std::string& problem, const char* simulated) {
  const std::string number = std::to_string(item);
  const std::string path = kSimulatedDevice + std::string(simulated);
  const bool isSimulated = access(path.c_str(), F_OK) == 0;
  return {service, "item " + number + ", " + lmsupport::configuredNodePath(item), problem,
          isSimulated
              ? "on this simulated device, give --item " + number + "=" + path
              : "set item " + number + " in the core library, or give --item " + number + "=PATH"};
}

Finding file(const char* service, const char* path, const char* whatToDo) {
  return {service, path, accessProblem(path, R_OK), whatToDo};
}

/** A request of the kernel's statistics; each needs another version of their family. */
Finding statistics(const char* service, bool isSupported, int version) {
  const std::string family = "netlink family SYSSTATS";
  const std::string found = family + ", version " + std::to_string(version);
  const std::string problem = version < 0 ? "no " + family : found + " is too old";
  return {service, found, isSupported ? "" : problem, "load the kernel's module for it"};
}

int familyVersion(StatsProvider& stats) {
  int version = -1;
  while (version < kHighestFamilyVersion && stats.isApiSupported(version + 1)) {
    ++version;
  }
  return version;
}

template <typename Proxy>
Finding tracker(const char* service, const Proxy& proxy) {
  return {service, proxy != nullptr ? proxy->descriptor : "",
          proxy != nullptr ? "" : "it cannot be reached", "start the platform's service tracker"};
}

Finding rowStore() {
  const std::string version = std::string("SQLite ") + sqlite3_libversion();
  const bool isGood =
      sqlite3_libversion_number() >= kRowValuesSince && sqlite3_compileoption_used("OMIT_WAL") == 0;
  return {"row-store", version + " with row values and WAL",
          isGood ? "" : version + " lacks row values or WAL", "install 3.15 or later, with WAL"};
}

Report examineAll() {
  const QuietLog quiet;
  StatsProvider stats;
  const int version = familyVersion(stats);
  const int zones = ThermalListenerV2::getInstance()->getThermalData();
  const std::size_t textSize = FetchPreferredApps().getWeekTimePreferredApps().size();
  const std::string key = "key " + std::to_string(kPreferredAppsKey);
  DependentServices().getSTServiceAndLinkToDeath();
  std::shared_lock lock(DependentServices::gST_lock);
  return {
      {"core-library", coreLibraryFile()},
      node("vsync", kVsyncNodeItem, notifyingNodeProblem(kVsyncNodeItem), "vsync"),
      node("frames", kGfxDataNodeItem, blockingNodeProblem(kGfxDataNodeItem), "frame_data"),
      node("frame-switch", kGfxCtrlNodeItem, nodeProblem(kGfxCtrlNodeItem, W_OK), "frame_ctrl"),
      {"thermal", std::to_string(zones) + " zones", zones > 0 ? "" : "no zone can be read",
       "run it where the kernel has thermal zones; virtual machines have none"},
      file("process-lookup", kForegroundTasks,
           "run it where Android mounts its cpusets, or as a user who may read it"),
      statistics("stats-pid", stats.supportsPidStats, version),
      statistics("stats-sys", stats.supportsSysStats, version),
      statistics("stats-range", stats.supportsPidStatsRange, version),
      statistics("stats-name", stats.supportsPidsByName, version),
      file("memory", "/proc/meminfo", "mount /proc, or run it as a user who may read it"),
      tracker("tracker-1.0", DependentServices::gServiceTrackerHalObject),
      tracker("tracker-1.1", DependentServices::gServiceTrackerHalObject_v1_1),
      {"favourites", key + ", " + std::to_string(textSize) + " bytes",
       textSize > 0 ? "" : key + " has no text",
       "set it in the core library, or see 'lmctl favourites rebuild --help'"},
      rowStore(),
  };
}

/** Leaves only what was asked about in the report, if anything was. */
void select(std::vector<std::string> services, Report& report) {
  std::string known;
  Report selected;
  for (const Finding& finding : report) {
    known += std::string(" ") + finding.service;
    if (std::erase(services, finding.service) != 0) {
      selected.push_back(finding);
    }
  }
  if (!services.empty()) {
    throw UsageError("no service '" + services.front() + "'; there are" + known);
  }
  if (!selected.empty()) {
    report = selected;
  }
}

void printReport(const Report& report, bool json, std::ostream& out, const Style& style) {
  ordered_json rows = ordered_json::array();
  for (const auto& [service, found, problem, whatToDo] : report) {
    const bool isOk = problem.empty();
    const std::string& detail = isOk ? found : problem;
    rows.push_back({{"service", service},
                    {"state", isOk ? "ok" : "missing"},
                    {"detail", detail},
                    {"what_to_do", isOk ? ordered_json() : ordered_json(whatToDo)}});
    if (!json) {
      out << (isOk ? style.good("ok       ") : style.warning("missing  ")) << std::left
          << std::setw(16) << service << visible(detail) << "\n"
          << (isOk ? "" : "         " + whatToDo + "\n");
    }
  }
  if (json) {
    printJson(rows, out);
  }
}

}  // namespace

std::string coreLibraryFile() { return objectFile(DynamicLoader::getInstance); }

std::string versionText() {
  return "lmctl " LMSUPPORT_VERSION "\nlibrary       " + objectFile(stats_parser) +
         "\ncore library  " + coreLibraryFile();
}

int examine(const DoctorOptions& options, Console& console) {
  Report report = examineAll();
  select(options.services, report);
  printReport(report, options.json, console.out, console.style);
  const bool isAllOk =
      std::all_of(report.begin(), report.end(), [](const Finding& f) { return f.problem.empty(); });
  return options.services.empty() || isAllOk ? kSuccess : kFailure;
}
