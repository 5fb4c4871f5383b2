#pragma once

#include "Console.h"

namespace CLI {
class App;
}

class ConfigOverrides;

/** Adds the option that sets an item's node. */
void addItems(CLI::App& app, ConfigOverrides& overrides);

/** Adds the commands for nodes; the one that is named leaves its status. */
void addNode(CLI::App& app, Console& console, int& status);
