#pragma once

#include <string>

#include "Console.h"

struct SourceOptions {
  bool sample = false;    ///< watch events of lmctl's own making
  std::string node{};     ///< instead of the configured one
  std::string control{};  ///< the node that switches its events on, likewise
  int controlValue = 1;   ///< what switches them on
};

struct WatchOptions : SourceOptions {
  double seconds = 0;   ///< how long to watch; 0 until a signal
  bool json = false;    ///< print one JSON object at the end instead of text
  std::string trace{};  ///< file for a trace of what arrived; none when empty
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
