#pragma once

#include "Console.h"

namespace CLI {
class App;
}

/** Adds the command that watches for a while and makes a report; it leaves its status in status. */
void addReport(CLI::App& app, Console& console, int& status);
