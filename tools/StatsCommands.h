#pragma once

#include "Console.h"
#include "Rows.h"

class StatsProvider;
struct SysStatsRecord;

namespace CLI {
class App;
}

/** Adds the commands that show the kernel's records; the one that is named leaves its status. */
void addStats(CLI::App& app, Console& console, int& status);

/** Adds the command that shows memory figures, which need no netlink family. */
void addMemory(CLI::App& app, Console& console, int& status);

/** The slots with a known meaning, by their names; null for a figure that is not known. */
Rows memoryFigures(const SysStatsRecord& record);

/** All slots: each one's number or name, and its value. */
Rows systemSlots(const SysStatsRecord& record);

/** A provider that does not log what the kernel cannot be asked. */
StatsProvider probeQuietly();
