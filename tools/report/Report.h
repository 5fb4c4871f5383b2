#pragma once

#include <string>

#include "Console.h"

struct ReportOptions {
  double seconds = 10;
  bool json = false;        ///< print the record
  bool sample = false;      ///< watch sources of lmctl's own making
  std::string output{};     ///< file for the page; none when empty
  std::string vsyncNode{};  ///< of vsyncs; this and the others instead of the configured ones
  std::string frameNode{};
  std::string controlNode{};  ///< the node that switches frame reports on
  int controlValue = 1;       ///< what switches them on
};

/**
 * Watches vsyncs and frames until time or a signal ends it, and makes a page of what can be measured
 * here. Once in a process. Throws std::runtime_error when there is nothing to watch or the page cannot
 * be written, and UsageError when nobody wants the result.
 */
int makeReport(const ReportOptions& options, Console& console);
