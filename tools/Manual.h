#pragma once

#include "Console.h"

namespace CLI {
class App;
}

/** Adds the command that prints the manual page of all of app's commands. */
void addManual(CLI::App& app, Console& console, int& status);
