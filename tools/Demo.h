#pragma once

#include <string>

#include "Console.h"

struct DemoOptions {
  double seconds = 3;
  std::string device;  ///< folder of the simulated device's nodes; empty for the host name node
};

/**
 * Has a real kernel node notified at 60 Hz, receives the events as a client of
 * VsyncEvent::getInstance() and prints what was measured. Fails when no event arrived. To be called
 * once, first thing in a process: see HostNameNode.
 */
int runDemo(const DemoOptions& options, Console& console);
