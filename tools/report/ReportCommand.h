#pragma once

#include <string>

#include "Console.h"

struct ReportOptions {
  double seconds = 10;
  std::string output;  ///< file for the page; none when empty
  bool json = false;   ///< print the record
  std::string vsyncNode;
  std::string frameNode;
  std::string controlNode;
  int controlValue = 1;
};

/** Watches for a while and makes a report. */
int makeReport(const ReportOptions& options, Console& console);
