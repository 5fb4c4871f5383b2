#pragma once

#include <string>

#include "Console.h"

/** The list of foreground tasks, which the library reads. */
inline constexpr char kForegroundTasks[] = "/dev/cpuset/top-app/tasks";

struct LookupOptions {
  std::string name;
  bool once = false;  ///< one scan instead of up to five, 200 ms apart
  bool json = false;
};

/** Prints the identifier of a foreground process. */
int lookUpProcess(const LookupOptions& options, Console& console);
