#include <dlfcn.h>
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
  Dl_info object;
  char path[PATH_MAX];
  const bool isKnown = dladdr(reinterpret_cast<const void*>(function), &object) != 0 &&
                       realpath(object.dli_fname, path) != nullptr;
  return isKnown ? path : "unknown";
}

/** A row of the report: what was found of a service, or what is wrong and how to mend it. */
ordered_json finding(const char* service, const std::string& found, const std::string& problem,
                     const std::string& whatToDo) {
  const bool isOk = problem.empty();
  return {{"service", service},
          {"state", isOk ? "ok" : "missing"},
          {"detail", isOk ? found : problem},
          {"what_to_do", isOk ? ordered_json() : ordered_json(whatToDo)}};
}

/** The node of an item; simulated is its name on the simulated device. */
ordered_json node(const char* service, int item, const std::string& problem,
                  const char* simulated) {
  const std::string number = std::to_string(item);
  const std::string path = kSimulatedDevice + std::string(simulated);
  const bool isSimulated = access(path.c_str(), F_OK) == 0;
  return finding(
      service, "item " + number + ", " + lmsupport::configuredNodePath(item), problem,
      "give --item " + number + "=" + (isSimulated ? path : "PATH, or set it in the core library"));
}

/** A request of the kernel's statistics; each needs another version of their family. */
ordered_json statistics(const char* service, bool isSupported, int version) {
  const std::string family = "netlink family SYSSTATS";
  const std::string found = family + ", version " + std::to_string(version);
  const std::string problem = version < 0 ? "no " + family : found + " is too old";
  return finding(service, found, isSupported ? "" : problem, "load the kernel's module for it");
}

template <typename Proxy>
ordered_json tracker(const char* service, const Proxy& proxy) {
  return finding(service, proxy != nullptr ? proxy->descriptor : "",
                 proxy != nullptr ? "" : "it cannot be reached",
                 "start the platform's service tracker");
}

ordered_json rowStore() {
  const std::string version = std::string("SQLite ") + sqlite3_libversion();
  const bool isGood =
      sqlite3_libversion_number() >= kRowValuesSince && sqlite3_compileoption_used("OMIT_WAL") == 0;
  return finding("row-store", version + " with row values and WAL",
                 isGood ? "" : version + " lacks row values or WAL",
                 "install 3.15 or later, with WAL");
}

std::vector<ordered_json> examineAll() {
  const auto quiet = quietLog();
  StatsProvider stats;
  int version = -1;
  while (version < kHighestFamilyVersion && stats.isApiSupported(version + 1)) {
    ++version;
  }
  const int zones = ThermalListenerV2::getInstance()->getThermalData();
  const std::size_t textSize = FetchPreferredApps().getWeekTimePreferredApps().size();
  const std::string key = "key " + std::to_string(kPreferredAppsKey);
  DependentServices().getSTServiceAndLinkToDeath();
  std::shared_lock lock(DependentServices::gST_lock);
  return {
      finding("core-library", objectFile(DynamicLoader::getInstance), "", ""),
      node("vsync", kVsyncNodeItem, notifyingNodeProblem(kVsyncNodeItem), "vsync"),
      node("frames", kGfxDataNodeItem, blockingNodeProblem(kGfxDataNodeItem), "frame_data"),
      node("frame-switch", kGfxCtrlNodeItem, nodeProblem(kGfxCtrlNodeItem, W_OK), "frame_ctrl"),
      finding("thermal", std::to_string(zones) + " zones", zones > 0 ? "" : "no zone can be read",
              "run it where the kernel has thermal zones; virtual machines have none"),
      finding("process-lookup", kForegroundTasks, accessProblem(kForegroundTasks, R_OK),
              "run it where Android mounts its cpusets, or as a user who may read it"),
      statistics("stats-pid", stats.supportsPidStats, version),
      statistics("stats-sys", stats.supportsSysStats, version),
      statistics("stats-range", stats.supportsPidStatsRange, version),
      statistics("stats-name", stats.supportsPidsByName, version),
      finding("memory", "/proc/meminfo", accessProblem("/proc/meminfo", R_OK),
              "mount /proc, or run it as a user who may read it"),
      tracker("tracker-1.0", DependentServices::gServiceTrackerHalObject),
      tracker("tracker-1.1", DependentServices::gServiceTrackerHalObject_v1_1),
      finding("favourites", key + ", " + std::to_string(textSize) + " bytes",
              textSize > 0 ? "" : key + " has no text",
              "set it in the core library, or see 'lmctl favourites rebuild --help'"),
      rowStore(),
  };
}

/** Prints what to do on a line of its own, as a table of it would be too wide for a terminal. */
void printReport(const std::vector<ordered_json>& report, std::ostream& out, const Style& style) {
  for (const ordered_json& row : report) {
    const bool isOk = row["state"] == "ok";
    out << (isOk ? style.good("ok       ") : style.warning("missing  ")) << std::left
        << std::setw(16) << row["service"].get<std::string>()
        << visible(row["detail"].get<std::string>()) << "\n"
        << (isOk ? "" : "         " + row["what_to_do"].get<std::string>() + "\n");
  }
}

}  // namespace

std::string versionText() {
  return "lmctl " LMSUPPORT_VERSION "\nlibrary       " + objectFile(stats_parser) +
         "\ncore library  " + objectFile(DynamicLoader::getInstance);
}

int examine(const QueryOptions& options, Console& console) {
  std::vector<std::string> unknown = options.names;
  std::vector<ordered_json> report = examineAll();
  std::string known;
  std::erase_if(report, [&](const ordered_json& row) {
    known += " " + row["service"].get<std::string>();
    return std::erase(unknown, row["service"].get<std::string>()) == 0 && !options.names.empty();
  });
  if (!unknown.empty()) {
    throw UsageError("no service '" + unknown.front() + "'; there are" + known);
  }
  if (options.json) {
    printJson(report, console.out);
  } else {
    printReport(report, console.out, console.style);
  }
  const bool isAllOk = std::all_of(report.begin(), report.end(),
                                   [](const ordered_json& row) { return row["state"] == "ok"; });
  return options.names.empty() || isAllOk ? kSuccess : kFailure;
}
