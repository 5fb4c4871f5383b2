#include "CommandLine.h"

#include <CLI/CLI.hpp>

void addJson(CLI::App& command, bool& json, const std::string& what) {
  command.add_flag("--json", json, "Print JSON instead: " + what);
}
