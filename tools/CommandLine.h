#pragma once

#include <functional>

#include "Console.h"

namespace CLI {
class App;
}

class ConfigOverrides;

/** What a command line asks for, with the options it gave; returns an ExitStatus. */
using Command = std::function<int(Console&)>;

/** Declares all commands. Parsing sets command to the one that was named. */
void addCommands(CLI::App& app, Command& command);

/** Declares the option of any command that sets an item's node. */
void addItems(CLI::App& app, ConfigOverrides& overrides);
