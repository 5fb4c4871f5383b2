#pragma once

#include "Console.h"
#include "WatchOptions.h"

class VsyncEvent;

/**
 * Starts source, shows its events until time or SIGINT or SIGTERM ends it, pauses it and sums up.
 * Once per source: the callback stays registered with the first call's state. Throws
 * std::runtime_error when the trace cannot be written; before the start, when it cannot be created.
 */
int watchVsync(VsyncEvent& source, const WatchOptions& options, Console& console);
