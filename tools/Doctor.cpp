#include "Doctor.h"

#include <CLI/CLI.hpp>
#include <iomanip>
#include <memory>
#include <mutex>
#include <ostream>
#include <shared_mutex>

#include "CommandLine.h"
#include "ConfigOverrides.h"
#include "DependentServices.h"
#include "FetchPreferredApps.h"
#include "QuietLog.h"
#include "Rows.h"
#include "StatsProvider.h"
#include "ThermalListenerV2.h"
#include "Version.h"
#include "config/Nodes.h"

namespace {

constexpr int kRowValuesSince = 3015000;  ///< the version of SQLite

Rows ok(const char* service, const std::string& found) {
  return {{"service", service}, {"state", "ok"}, {"detail", found}, {"what_to_do", nullptr}};
}

Rows missing(const char* service, const std::string& why, const std::string& whatToDo) {
  return {{"service", service}, {"state", "missing"}, {"detail", why}, {"what_to_do", whatToDo}};
}

/** A service that works when there is no problem. */
Rows unlessProblem(const char* service, const std::string& problem, const std::string& found,
                   const std::string& whatToDo) {
  return problem.empty() ? ok(service, found) : missing(service, problem, whatToDo);
}

Rows node(const char* service, int item, const std::string& problem) {
  return unlessProblem(service, problem, lmsupport::configuredNodePath(item),
                       "configure it, or try a node with --item " + std::to_string(item) + "=PATH");
}

Rows file(const char* service, const char* path, const char* whatToDo) {
  return unlessProblem(service, accessProblem(path, R_OK), path, whatToDo);
}

/** The kernel's statistics; requests need different versions of their family. */
void addStatistics(Rows& report) {
  StatsProvider stats;
  const char* const why = stats.isApiSupported(0)
                              ? "the kernel's netlink family SYSSTATS is too old"
                              : "the kernel has no netlink family SYSSTATS";
  constexpr char kLoad[] = "load its kernel module";
  const auto add = [&](const char* service, bool supported) {
    report.push_back(
        unlessProblem(service, supported ? "" : why, "netlink family SYSSTATS", kLoad));
  };
  add("stats pid", stats.supportsPidStats);
  add("stats sys", stats.supportsSysStats);
  add("stats range", stats.supportsPidStatsRange);
  add("stats name", stats.supportsPidsByName);
}

void addTracker(Rows& report) {
  DependentServices().getSTServiceAndLinkToDeath();
  std::shared_lock lock(DependentServices::gST_lock);
  const auto add = [&](const char* service, const auto& proxy) {
    report.push_back(unlessProblem(service, proxy != nullptr ? "" : "it cannot be reached",
                                   proxy != nullptr ? proxy->descriptor : "",
                                   "start the platform's service tracker"));
  };
  add("service tracker 1.0", DependentServices::gServiceTrackerHalObject);
  add("service tracker 1.1", DependentServices::gServiceTrackerHalObject_v1_1);
}

Rows favourites() {
  const std::size_t size = FetchPreferredApps().getWeekTimePreferredApps().size();
  const std::string key = std::to_string(kPreferredAppsKey);
  return unlessProblem("favourites", size > 0 ? "" : "the text of key " + key + " is not there",
                       "text of key " + key + ", " + std::to_string(size) + " bytes",
                       "configure it, or give a text to 'lmctl favourites rebuild'");
}

Rows thermal() {
  const int zones = ThermalListenerV2::getInstance()->getThermalData();
  return unlessProblem("thermal", zones > 0 ? "" : "no zone can be read",
                       std::to_string(zones) + " zones",
                       "run it where the kernel has thermal zones; virtual machines have none");
}

Rows rowStore() {
  const bool good =
      sqlite3_libversion_number() >= kRowValuesSince && sqlite3_compileoption_used("OMIT_WAL") == 0;
  const std::string version = std::string("SQLite ") + sqlite3_libversion();
  return unlessProblem("row stores", good ? "" : version + " lacks row values or WAL",
                       version + " with row values and WAL", "install 3.15 or later, with WAL");
}

Rows examine() {
  const QuietLog quiet;
  Rows report = {
      ok("core library", coreLibraryFile()),
      node("vsync", kVsyncNodeItem, notifyingNodeProblem(kVsyncNodeItem)),
      node("frames", kGfxDataNodeItem, blockingNodeProblem(kGfxDataNodeItem)),
      node("frames' switch", kGfxCtrlNodeItem, nodeProblem(kGfxCtrlNodeItem, W_OK)),
      thermal(),
      file("process lookup", kForegroundTasks, "run it where Android mounts its cpusets"),
  };
  addStatistics(report);
  report.push_back(file("memory figures", "/proc/meminfo", "mount /proc"));
  addTracker(report);
  report.push_back(favourites());
  report.push_back(rowStore());
  return report;
}

void printText(const Rows& report, std::ostream& out) {
  for (const Rows& line : report) {
    out << std::left << std::setw(9) << line["state"].get<std::string>() << std::setw(21)
        << line["service"].get<std::string>() << line["detail"].get<std::string>();
    if (!line["what_to_do"].is_null()) {
      out << "; " << line["what_to_do"].get<std::string>();
    }
    out << "\n";
  }
}

}  // namespace

void addDoctor(CLI::App& app, Console& console, int& status) {
  CLI::App* const doctor =
      app.add_subcommand("doctor", "Report which services can work here, and what others miss.");
  const auto json = std::make_shared<bool>(false);
  addJson(*doctor, *json,
          "an array of {service, state, detail, what_to_do}; state is ok, detail then what was "
          "found, or missing");
  doctor->callback([=, &console, &status] {
    const Rows report = examine();
    if (*json) {
      printJson(report, console.out);
    } else {
      printText(report, console.out);
    }
    status = kSuccess;
  });
}
