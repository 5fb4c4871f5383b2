#pragma once

#include <string>

#include "Console.h"

struct WatchOptions {
  double seconds = 0;    ///< how long to watch; 0 until a signal
  bool json = false;     ///< print one JSON object at the end instead of text
  bool sample = false;   ///< watch a source of lmctl's own making
  std::string node;      ///< instead of the configured one
  std::string trace;     ///< file for a trace of what arrived; none when empty
  std::string control;   ///< the node that switches frame reports on, not the configured one
  int controlValue = 1;  ///< what switches them on
};

/**
 * Show the events of a source until time or a signal ends it, and sum up. Once in a process. They
 * throw std::runtime_error when there is nothing to watch or the trace cannot be written. @{
 */
int watchVsync(const WatchOptions& options, Console& console);
int watchGfx(const WatchOptions& options, Console& console);
/** @} */

/** Keeps the thermal listener fetching likewise, and shows what it read. */
int watchThermal(const WatchOptions& options, Console& console);
