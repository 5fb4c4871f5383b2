#pragma once

#include <string>

#include "CommandTree.h"

/** What is typed: "lmctl db dump [OPTIONS] FILE TABLE". */
std::string usage(const Command& command);

/** An argument as it is typed, "--node PATH", and what it is for. */
std::string typed(const Argument& argument);
std::string explained(const Argument& argument);

/** What --help prints, for 80 columns. */
std::string helpText(const Command& command);
