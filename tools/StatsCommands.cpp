#include "StatsCommands.h"

#include <CLI/CLI.hpp>
#include <array>
#include <cstring>
#include <iomanip>
#include <memory>
#include <ostream>
#include <span>
#include <sstream>
#include <stdexcept>

#include "CommandLine.h"
#include "QuietLog.h"
#include "Rows.h"
#include "StatsProvider.h"

namespace {

struct StatsOptions {
  int pid = 0;
  int first = 0;
  int last = 0;
  std::string name;
  bool json = false;
};

struct KnownSlot {
  std::size_t slot;
  const char* name;
};
constexpr std::array kKnownSlots = {KnownSlot{kSwapUsedSlot, "swap_used_kb"},
                                    KnownSlot{kSwapTotalSlot, "swap_total_kb"},
                                    KnownSlot{kVmallocUsedSlot, "vmalloc_used_kb"}};

std::string hex(std::uint64_t value) {
  std::ostringstream text;
  text << "0x" << std::hex << std::setfill('0') << std::setw(16) << value;
  return text.str();
}

Rows slotRows(std::span<const std::uint64_t> slots) {
  Rows rows = Rows::array();
  for (std::size_t i = 0; i < slots.size(); ++i) {
    rows.push_back({{"slot", std::to_string(i)}, {"hex", hex(slots[i])}, {"decimal", slots[i]}});
  }
  return rows;
}

/** Prints records one after the other, or all as one array. */
int printRecords(const std::vector<Rows>& records, bool json, Console& console) {
  if (json) {
    printJson(Rows(records), console.out);
    return kSuccess;
  }
  for (std::size_t i = 0; i < records.size(); ++i) {
    console.out << (i > 0 ? "\n" : "");
    printTable(records[i], console.out);
  }
  return kSuccess;
}

/** Throws when the kernel cannot be asked. */
void require(bool supported) {
  if (!supported) {
    throw std::runtime_error(
        "statistics: this kernel's netlink family SYSSTATS is missing or too old; load its module");
  }
}

template <typename Record>
bool isZero(const Record& record) {
  const Record zero = {};
  return std::memcmp(&record, &zero, sizeof(record)) == 0;
}

}  // namespace

Rows memoryFigures(const SysStatsRecord& record) {
  Rows figures;
  for (const KnownSlot& known : kKnownSlots) {
    const std::uint64_t value = record.slots[known.slot];
    figures[known.name] = value != kUnknownFigure ? Rows(value) : Rows();
  }
  return figures;
}

Rows systemSlots(const SysStatsRecord& record) {
  Rows rows = slotRows(record.slots);
  for (const KnownSlot& known : kKnownSlots) {
    rows[known.slot]["slot"] = known.name;
  }
  return rows;
}

StatsProvider probeQuietly() {
  const QuietLog quiet;
  return {};
}

namespace {

int statsPid(const StatsOptions& options, Console& console) {
  StatsProvider stats = probeQuietly();
  require(stats.supportsPidStats);
  const PidStatsRecord record = stats.getPIDStats(options.pid);
  if (isZero(record)) {
    throw std::runtime_error("process " + std::to_string(options.pid) +
                             ": the kernel tells nothing; check that it runs, see the log");
  }
  return printRecords({slotRows(record.slots)}, options.json, console);
}

int statsSys(const StatsOptions& options, Console& console) {
  StatsProvider stats = probeQuietly();
  require(stats.supportsSysStats);
  const SysStatsRecord record = stats.getSysStats();
  if (isZero(record)) {
    throw std::runtime_error("statistics: the kernel did not answer; see the log");
  }
  return printRecords({systemSlots(record)}, options.json, console);
}

int statsRange(const StatsOptions& options, Console& console) {
  StatsProvider stats = probeQuietly();
  require(stats.supportsPidStatsRange);
  std::vector<Rows> records;
  for (const PidStatsRecord& record : stats.getPIDStatsRange(options.first, options.last)) {
    records.push_back(slotRows(record.slots));
  }
  return printRecords(records, options.json, console);
}

int statsName(const StatsOptions& options, Console& console) {
  StatsProvider stats = probeQuietly();
  require(stats.supportsPidsByName);
  std::vector<sysstats_pid> pids;
  if (stats.getPIDsRange(options.name.c_str(), pids) != 0) {
    throw std::runtime_error("statistics: the kernel did not answer; see the log");
  }
  Rows rows = Rows::array();
  for (const sysstats_pid& pid : pids) {
    std::uint64_t value = 0;
    std::memcpy(&value, pid.bytes, sizeof(value));
    rows.push_back({{"hex", hex(value)}, {"decimal", value}});
  }
  print(rows, options.json, console.out);
  return kSuccess;
}

int showMemory(const StatsOptions& options, Console& console) {
  const Rows figures = memoryFigures(probeQuietly().getMemInfo());
  if (options.json) {
    printJson(figures, console.out);
  } else {
    printTable(Rows::array({figures}), console.out);
  }
  return kSuccess;
}

}  // namespace

void addStats(CLI::App& app, Console& console, int& status) {
  CLI::App* const stats = app.add_subcommand("stats", "Ask the kernel's statistics family.");
  stats->require_subcommand(1);
  const Commands<StatsOptions> commands(*stats, console, status);
  StatsOptions& options = *commands.options;
  constexpr char kRecords[] = "an array of records, each an array of {slot, hex, decimal}";
  commands.add("pid", "Show one process; slots are as the kernel fills them.", kRecords, statsPid)
      ->add_option("PID", options.pid, "Process identifier")
      ->required()
      ->transform(wholeNumber(1, 4194304));
  commands.add("sys", "Show the system.", kRecords, statsSys);
  CLI::App* const range =
      commands.add("range", "Show the processes in a range.", kRecords, statsRange);
  const CLI::Validator bounds = wholeNumber(0, 65535);
  range->add_option("FIRST", options.first, "Lowest process identifier")
      ->required()
      ->transform(bounds);
  range->add_option("LAST", options.last, "Highest one")->required()->transform(bounds);
  commands.add("name", "Show the processes with a name.", "an array of {hex, decimal}", statsName)
      ->add_option("NAME", options.name, "Process name")
      ->required();
}

void addMemory(CLI::App& app, Console& console, int& status) {
  Commands<StatsOptions>(app, console, status)
      .add("mem", "Show swap and vmalloc figures.",
           "an object {swap_used_kb, swap_total_kb, vmalloc_used_kb}, null for unknown figures",
           showMemory);
}
