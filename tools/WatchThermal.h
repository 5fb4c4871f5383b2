#pragma once

#include "WatchVsync.h"

/** Keeps the thermal listener fetching until time or a signal ends it, and shows what it read. */
int watchThermal(const WatchOptions& options, Console& console);

/** Does so for a second. */
int demonstrateThermal(Console& console);
