#pragma once

#include <iosfwd>

#include "CommandTree.h"
#include "Console.h"

/** Adds the commands that print completion scripts for all of app's commands. */
void addCompletion(CLI::App& app, Console& console, int& status);

/** A script that completes command, those below it, options, and names of files and folders. */
void printBashCompletion(const Command& command, std::ostream& out);
void printZshCompletion(const Command& command, std::ostream& out);
void printFishCompletion(const Command& command, std::ostream& out);
