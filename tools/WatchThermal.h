#pragma once

#include "Console.h"
#include "WatchOptions.h"

/** Keeps the thermal listener fetching until time or a signal ends it, and shows what it read. */
int watchThermal(const WatchOptions& options, Console& console);
