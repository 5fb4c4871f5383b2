#pragma once

#include "Console.h"
#include "WatchOptions.h"

/** Show a source's events until time or a signal ends it, and sum up. @{ */
int watchVsync(const WatchOptions& options, Console& console);
int watchGfx(const WatchOptions& options, Console& console);
int watchThermal(const WatchOptions& options, Console& console);
/** @} */
