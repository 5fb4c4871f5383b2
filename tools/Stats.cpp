#include "Commands.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <nlohmann/json.hpp>
#include <ostream>
#include <span>
#include <stdexcept>
#include <utility>

#include "Output.h"

using nlohmann::ordered_json;

namespace {

constexpr std::pair<std::size_t, const char*> kKnownSlots[] = {
    {kSwapUsedSlot, "swap_used_kb"},
    {kSwapTotalSlot, "swap_total_kb"},
    {kVmallocUsedSlot, "vmalloc_used_kb"}};

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
               const StatsOptions& options, Console& console) {
  if (std::all_of(slots.begin(), slots.end(), [](std::uint64_t slot) { return slot == 0; })) {
    throw std::runtime_error("the kernel has no record of it");
  }
  printRows(rows, options.json, console.out);
  return kSuccess;
}

}  // namespace

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
  const QuietLog quiet;
  return {};
}

int statsPid(const StatsOptions& options, Console& console) {
  const PidStatsRecord record =
      providerFor(&StatsProvider::supportsPidStats).getPIDStats(options.pid);
  return printSlots(slotRows(record.slots), record.slots, options, console);
}

int statsSys(const StatsOptions& options, Console& console) {
  const SysStatsRecord record = providerFor(&StatsProvider::supportsSysStats).getSysStats();
  return printSlots(systemSlots(record), record.slots, options, console);
}

int statsRange(const StatsOptions& options, Console& console) {
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
  printRows(rows, options.json, console.out);
  return kSuccess;
}

int statsName(const StatsOptions& options, Console& console) {
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
  printRows(rows, options.json, console.out);
  return kSuccess;
}

int showMemory(const StatsOptions& options, Console& console) {
  const ordered_json figures = memoryFigures(probeQuietly().getMemInfo());
  printRows(options.json ? figures : ordered_json::array({figures}), options.json, console.out);
  return kSuccess;
}
