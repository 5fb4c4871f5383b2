#pragma once

#include "Console.h"

namespace CLI {
class App;
}

/** Adds the command that reports which services can work here; leaves its status. */
void addDoctor(CLI::App& app, Console& console, int& status);
