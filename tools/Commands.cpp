#include "Commands.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <nlohmann/json.hpp>
#include <ostream>
#include <span>
#include <stdexcept>
#include <utility>

#include <android-base/unique_fd.h>

#include "AsyncEventsMgr.h"
#include "CpPLHController.h"
#include "DependentServices.h"
#include "NodeChecks.h"
#include "Output.h"
#include "config/Nodes.h"

using android::hardware::hidl_string;
using android::hardware::hidl_vec;
using nlohmann::ordered_json;

namespace {

constexpr std::pair<std::size_t, const char*> kKnownSlots[] = {
    {kSwapUsedSlot, "swap_used_kb"},
    {kSwapTotalSlot, "swap_total_kb"},
    {kVmallocUsedSlot, "vmalloc_used_kb"}};

/** Throws unless the tracker's status is success; the texts follow the values of Status. */
void requireAnswer(int status) {
  static constexpr std::array kTexts = {
      "success", "found nothing; check the name", "does not support this; it may be too old",
      "refuses the name; check it", "cannot be reached; see 'lmctl doctor'"};
  const auto index = static_cast<std::size_t>(status);
  if (index != 0) {
    throw std::runtime_error("the service tracker " + (index < kTexts.size()
                                                           ? kTexts[index]
                                                           : "answers " + std::to_string(status)));
  }
}

template <typename Values>
int printColumn(const char* name, const Values& values, bool json, Console& console) {
  ordered_json rows = ordered_json::array();
  for (const auto& value : values) {
    rows.push_back({{name, value}});
  }
  return printResult(rows, json, console);
}

/** Writes as a client does. Throws with the system's reason, which errno still tells afterwards. */
void writeThroughController(int item, const std::string& path, const std::string& value) {
  std::vector<CpPLHController::Command> none;
  CpPLHController::Command unused;
  // In place of initial settings: a controller without either takes no commands.
  const auto noSettings = []() -> void* { return nullptr; };
  CpPLHController controller(none, unused, unused, "lmctl", noSettings);
  errno = 0;
  const int attempted = controller.commandCp(CpPLHController::kAnyItem, value, item);
  if (attempted != 1 || errno != 0) {
    throw std::runtime_error(path + ": not written: " + std::strerror(errno));
  }
}

/** What a node holds, without the line's end; null for one that cannot be read or read again. */
ordered_json contentsOf(const std::string& path) {
  struct stat file;
  const bool isPlain = stat(path.c_str(), &file) == 0 && S_ISREG(file.st_mode);
  const android::base::unique_fd node(isPlain ? open(path.c_str(), O_RDONLY | O_CLOEXEC) : -1);
  char contents[4096];  // no node of sysfs holds more
  const ssize_t size = read(node.get(), contents, sizeof(contents));
  if (size < 0) {
    return nullptr;
  }
  std::string text(contents, static_cast<std::size_t>(size));
  text.resize(text.find_last_not_of('\n') + 1);
  return text;
}

std::string hex(std::uint64_t value) {
  char text[24];
  std::snprintf(text, sizeof(text), "0x%016" PRIx64, value);
  return text;
}

ordered_json slotRows(std::span<const std::uint64_t> slots) {
  ordered_json rows = ordered_json::array();
  for (std::size_t i = 0; i < slots.size(); ++i) {
    rows.push_back(
        {{"slot", std::to_string(i)}, {"hex", hex(slots[i])}, {"decimal", exactNumber(slots[i])}});
  }
  return rows;
}

/** A provider for a request; throws when the kernel cannot be asked. */
StatsProvider providerFor(bool StatsProvider::*isSupported) {
  StatsProvider stats = probeQuietly();
  if (!(stats.*isSupported)) {
    throw std::runtime_error(
        "the kernel's netlink family SYSSTATS is missing or too old; load its module");
  }
  return stats;
}

/** Prints slots; throws when all are zero, as they are when the kernel did not answer. */
int printSlots(const ordered_json& rows, std::span<const std::uint64_t> slots,
               const QueryOptions& options, Console& console) {
  if (std::all_of(slots.begin(), slots.end(), [](std::uint64_t slot) { return slot == 0; })) {
    throw std::runtime_error("the kernel has no record of it");
  }
  return printResult(rows, options.json, console);
}

}  // namespace

int lookUpProcess(const QueryOptions& options, Console& console) {
  std::string name = options.name;
  const int pid = options.once ? AsyncEvent::getPidExpensive(name) : AsyncEvent::getPid(name);
  if (pid < 1) {
    const std::string problem = accessProblem(kForegroundTasks, R_OK);
    throw std::runtime_error(problem.empty()
                                 ? "process '" + name + "': not in " + kForegroundTasks +
                                       "; bring it to the foreground"
                                 : problem + "; run it where the foreground tasks are listed");
  }
  if (options.json) {
    printJson({{"name", name}, {"pid", pid}}, console.out);
  } else {
    console.out << pid << "\n";
  }
  return kSuccess;
}

int servicesClients(const QueryOptions& options, Console& console) {
  const auto quiet = quietLog();
  std::vector<std::string> clients;
  requireAnswer(DependentServices().getServices(options.name, clients));
  return printColumn("service", clients, options.json, console);
}

int servicesPids(const QueryOptions& options, Console& console) {
  const auto quiet = quietLog();
  const hidl_vec<hidl_string> names(options.names.begin(), options.names.end());
  hidl_vec<std::int32_t> pids;
  requireAnswer(DependentServices().getServicePIDs(names, pids));
  return printColumn("pid", pids, options.json, console);
}

int servicesActive(const QueryOptions& options, Console& console) {
  const auto quiet = quietLog();
  std::vector<int> pids;
  requireAnswer(DependentServices().getAllActiveServicePIDs(pids));
  return printColumn("pid", pids, options.json, console);
}

int writeNode(const QueryOptions& options, Console& console) {
  if (const std::string problem = nodeProblem(options.number, W_OK); !problem.empty()) {
    throw std::runtime_error("no node to write: " + problem + "; name one with --item " +
                             std::to_string(options.number) + "=PATH");
  }
  const std::string path = lmsupport::configuredNodePath(options.number);
  writeThroughController(options.number, path, options.text);
  return printResult({{"item", options.number},
                      {"node", path},
                      {"written", options.text},
                      {"read", contentsOf(path)}},
                     options.json, console);
}

ordered_json memoryFigures(const SysStatsRecord& record) {
  ordered_json figures;
  for (const auto& [slot, name] : kKnownSlots) {
    const std::uint64_t value = record.slots[slot];
    figures[name] = value != kUnknownFigure ? exactNumber(value) : ordered_json();
  }
  return figures;
}

ordered_json systemSlots(const SysStatsRecord& record) {
  ordered_json rows = slotRows(record.slots);
  for (const auto& [slot, name] : kKnownSlots) {
    rows[slot]["slot"] = name;
  }
  return rows;
}

StatsProvider probeQuietly() {
  const auto quiet = quietLog();
  return {};
}

int statsPid(const QueryOptions& options, Console& console) {
  const PidStatsRecord record =
      providerFor(&StatsProvider::supportsPidStats).getPIDStats(options.number);
  return printSlots(slotRows(record.slots), record.slots, options, console);
}

int statsSys(const QueryOptions& options, Console& console) {
  const SysStatsRecord record = providerFor(&StatsProvider::supportsSysStats).getSysStats();
  return printSlots(systemSlots(record), record.slots, options, console);
}

int statsRange(const QueryOptions& options, Console& console) {
  if (options.first > options.last) {
    throw UsageError("FIRST is above LAST");
  }
  StatsProvider stats = providerFor(&StatsProvider::supportsPidStatsRange);
  ordered_json rows = ordered_json::array();
  for (const PidStatsRecord& record : stats.getPIDStatsRange(options.first, options.last)) {
    ordered_json& row = rows.emplace_back();
    for (std::size_t i = 0; i < std::size(record.slots); ++i) {
      row[std::to_string(i)] = exactNumber(record.slots[i]);
    }
  }
  return printResult(rows, options.json, console);
}

int statsName(const QueryOptions& options, Console& console) {
  StatsProvider stats = providerFor(&StatsProvider::supportsPidsByName);
  std::vector<sysstats_pid> entries;
  if (stats.getPIDsRange(options.name.c_str(), entries) != 0) {
    throw std::runtime_error("the kernel did not answer");
  }
  ordered_json rows = ordered_json::array();
  for (const sysstats_pid& entry : entries) {
    std::uint64_t value = 0;
    std::memcpy(&value, entry.bytes, sizeof(value));
    rows.push_back({{"pid", static_cast<std::uint32_t>(value)}, {"entry", hex(value)}});
  }
  return printResult(rows, options.json, console);
}

int showMemory(const QueryOptions& options, Console& console) {
  return printResult(memoryFigures(probeQuietly().getMemInfo()), options.json, console);
}
