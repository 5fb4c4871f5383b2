#pragma once

#include <string>

#include "testing/Clock.h"

/** What the commands that watch a source have in common. */
struct WatchOptions {
  double seconds = 0;   ///< how long to watch; 0 until a signal
  bool json = false;    ///< print one JSON object at the end instead of text
  std::string trace{};  ///< file for a trace of what arrived; none when empty

  /** Nodes to use instead of the configured ones, when given. @{ */
  std::string node{};
  std::string control{};
  /** @} */
  int controlValue = 1;

  /** When a watch that begins then is over. */
  Clock::time_point endAfter(Clock::time_point begin) const {
    return seconds > 0 ? begin + fromSeconds(seconds) : Clock::time_point::max();
  }
};
