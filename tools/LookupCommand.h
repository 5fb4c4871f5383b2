#pragma once

#include "Console.h"

namespace CLI {
class App;
}

/** The list of foreground tasks, which the library reads. */
inline constexpr char kForegroundTasks[] = "/dev/cpuset/top-app/tasks";

/** Adds the command that looks for a foreground process and leaves its status. */
void addLookup(CLI::App& app, Console& console, int& status);

/**
 * Starts a process named like an application, lists it as a foreground task in a mount name space of
 * its own, and looks for it there. To be called before the process makes other name spaces.
 */
int demonstrateLookup(Console& console);
