#pragma once

#include <string>

#include "Console.h"
#include "Rows.h"

class StatsProvider;
struct SysStatsRecord;

struct StatsOptions {
  int pid = 0;
  int first = 0;
  int last = 0;
  std::string name;
  bool json = false;
};

/** The kernel's records, each as numbered slots: of one process, of the system, of a range. */
int statsPid(const StatsOptions& options, Console& console);
int statsSys(const StatsOptions& options, Console& console);
int statsRange(const StatsOptions& options, Console& console);

/** The kernel's entries of the processes with a name. */
int statsName(const StatsOptions& options, Console& console);

/** Memory figures, which need no netlink family. */
int showMemory(const StatsOptions& options, Console& console);

/** The slots with a known meaning, by their names; null for a figure that is not known. */
Rows memoryFigures(const SysStatsRecord& record);

/** All slots: each one's number or name, and its value. */
Rows systemSlots(const SysStatsRecord& record);

/** A provider that does not log what the kernel cannot be asked. */
StatsProvider probeQuietly();
