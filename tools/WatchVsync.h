#pragma once

#include "Console.h"

class VsyncEvent;

struct WatchOptions {
  double seconds = 0;  ///< how long to watch; 0 until a signal
  bool json = false;   ///< print one JSON object at the end instead of text
};

/**
 * Starts source, shows its events until time or SIGINT or SIGTERM ends it, pauses it and sums up.
 * Once per source: the callback stays registered with the first call's state.
 */
int watchVsync(VsyncEvent& source, const WatchOptions& options, Console& console);
