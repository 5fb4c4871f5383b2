#pragma once

#include "Console.h"

namespace CLI {
class App;
}

/** The list of foreground tasks, which the library reads. */
inline constexpr char kForegroundTasks[] = "/dev/cpuset/top-app/tasks";

/** Adds the command that looks for a foreground process and leaves its status. */
void addLookup(CLI::App& app, Console& console, int& status);
