#pragma once

#include "Console.h"

namespace CLI {
class App;
}

/** Adds the commands for favourite applications; the one that is named leaves its status. */
void addFavourites(CLI::App& app, Console& console, int& status);

/** Rebuilds sample data in a folder of its own, which it removes again. */
int demonstrateFavourites(Console& console);
