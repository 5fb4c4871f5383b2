#pragma once

#include "Console.h"

namespace CLI {
class App;
}

/** Adds the command that shows all services; leaves its status. */
void addDemo(CLI::App& app, Console& console, int& status);
