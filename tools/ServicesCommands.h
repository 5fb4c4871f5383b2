#pragma once

#include "Console.h"

namespace CLI {
class App;
}

/** Adds the commands that ask the service tracker; the one that is named leaves its status. */
void addServices(CLI::App& app, Console& console, int& status);
