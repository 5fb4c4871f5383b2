#pragma once

#include <string>
#include <vector>

#include "Console.h"

struct ServicesOptions {
  std::string name;
  std::vector<std::string> names;
  bool json = false;
};

/** Ask the service tracker: who is connected to a service, and what the processes of services are. */
int servicesClients(const ServicesOptions& options, Console& console);
int servicesPids(const ServicesOptions& options, Console& console);
int servicesActive(const ServicesOptions& options, Console& console);
