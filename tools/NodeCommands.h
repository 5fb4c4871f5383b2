#pragma once

#include <string>

#include "Console.h"

/** Types of a controller's commands. */
enum CommandType : int { kFirstPreset, kSecondPreset, kAnyItem };

/** Why text is not "ITEM=PATH", or nothing. */
std::string itemProblem(const std::string& text);

/** Writes value to the node configured for item, which must exist, with a controller. */
int writeNode(int item, const std::string& value, Console& console);
