#pragma once

#include <functional>

#include "Console.h"

namespace CLI {
class App;
}

class ConfigOverrides;

/**
 * Runs lmctl with the arguments of a main function; returns its ExitStatus. Throws nothing.
 *
 * Note: a command that watched a process-wide event source leaves its thread behind, which the
 * source's destructor would wait for: end the process with _exit.
 */
int lmctl(int argc, const char* const* argv, Console& console);

/** What a command line asks for, with the options it gave; returns an ExitStatus. */
using Command = std::function<int(Console&)>;

/** Declares all commands and options. Parsing sets overrides, and command to the one named. */
void addCommands(CLI::App& app, ConfigOverrides& overrides, Command& command);
