#pragma once

#include "Console.h"

namespace CLI {
class App;
}

/** Adds the command that looks for a foreground process and leaves its status. */
void addLookup(CLI::App& app, Console& console, int& status);
