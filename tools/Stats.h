#pragma once

#include <nlohmann/json_fwd.hpp>

#include "StatsProvider.h"

/** The slots with a known meaning, by their names; null for a figure that is not known. */
nlohmann::ordered_json memoryFigures(const SysStatsRecord& record);

/** All slots: each one's number or name, and its value. */
nlohmann::ordered_json systemSlots(const SysStatsRecord& record);

/** A provider that does not log what the kernel cannot be asked. */
StatsProvider probeQuietly();
