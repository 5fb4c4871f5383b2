#pragma once

#include <string>

#include "Console.h"

/** Why text is not "ITEM=PATH", or nothing. */
std::string itemProblem(const std::string& text);

/** Writes value to the node configured for item, which must exist, with a controller. */
int writeNode(int item, const std::string& value, Console& console);

/** Lets a controller with two presets write to nodes in a folder of its own, which it removes. */
int demonstrateController(Console& console);
