#pragma once

#include "Console.h"

namespace CLI {
class App;
}

/** Adds the commands that show the kernel's records; the one that is named leaves its status. */
void addStats(CLI::App& app, Console& console, int& status);

/** Adds the command that shows memory figures, which need no netlink family. */
void addMemory(CLI::App& app, Console& console, int& status);

/** Memory figures, and whether the kernel has the family. */
int demonstrateStats(Console& console);
