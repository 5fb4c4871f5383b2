#pragma once

#include "Console.h"

namespace CLI {
class App;
}

/** Adds the commands that watch sources; the one that is named leaves its status in status. */
void addWatch(CLI::App& app, Console& console, int& status);
