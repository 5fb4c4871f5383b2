#pragma once

#include <string>

#include "Console.h"

struct DemoOptions {
  double seconds = 3;
  std::string device{};  ///< folder of the simulated device's nodes; empty for sample nodes
  std::string
      output{};  ///< folder for what the demo leaves behind; empty for a fresh temporary one
};

/**
 * Shows each of the library's services once and sums up, and leaves a trace and a report behind.
 * Fails when a step did. A signal ends it after the step that is running. To be called once, first
 * thing in a process: the namespaces that it makes need one that has a single thread.
 */
int runDemo(const DemoOptions& options, Console& console);
