#pragma once

#include <string>

namespace CLI {
class App;
}

/** Adds --json to a command that has a result; what is printed is documented in its help. */
void addJson(CLI::App& command, bool& json, const std::string& what);
