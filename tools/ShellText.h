#pragma once

#include <string>
#include <vector>

#include "CommandTree.h"

/** What a word on the command line stands for, as completion scripts call it. */
enum ValueKind : char { kText = 't', kFile = 'f', kFolder = 'd' };

ValueKind kindOf(const Argument& argument);

/** Text in single quotes, for every shell. */
std::string quoted(const std::string& text);

/** The paths of all commands below lmctl, quoted. */
std::vector<std::string> commandPaths(const Command& lmctl);

/** The names of options, whichever are given. */
std::vector<std::string> namesOf(const std::vector<Argument>& options);
