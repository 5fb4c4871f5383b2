#pragma once

#include <string>

#include "Console.h"

struct LookupOptions {
  std::string name;
  bool once = false;  ///< one scan instead of up to five, 200 ms apart
  bool json = false;
};

/** Prints the identifier of a foreground process. */
int lookUpProcess(const LookupOptions& options, Console& console);

/**
 * Starts a process named like an application, lists it as a foreground task in a mount name space of
 * its own, and looks for it there. To be called before the process makes other name spaces.
 */
int demonstrateLookup(Console& console);
