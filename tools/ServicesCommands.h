#pragma once

#include <string>
#include <vector>

#include "Console.h"

namespace CLI {
class App;
}

/** Adds the commands that ask the service tracker; the one that is named leaves its status. */
void addServices(CLI::App& app, Console& console, int& status);

struct ServicesOptions {
  std::string name;
  std::vector<std::string> names;
  bool json = false;
};

/** Prints the processes of all active services. */
int servicesActive(const ServicesOptions& options, Console& console);
