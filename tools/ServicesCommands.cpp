#include "ServicesCommands.h"

#include <CLI/CLI.hpp>
#include <array>
#include <memory>
#include <ostream>
#include <stdexcept>

#include "CommandLine.h"
#include "DependentServices.h"
#include "Rows.h"

using android::hardware::hidl_string;
using android::hardware::hidl_vec;

namespace {

struct ServicesOptions {
  std::string name;
  std::vector<std::string> names;
  bool json = false;
};

/** Throws unless the status is success; the texts follow the values of Status. */
void require(int status) {
  static constexpr std::array kTexts = {
      "success", "found nothing; check the name", "does not support this; it may be too old",
      "refuses the name; check it", "cannot be reached; see the log and 'lmctl doctor'"};
  if (status != 0) {
    const auto known = static_cast<std::size_t>(status) < kTexts.size();
    throw std::runtime_error("service tracker: " +
                             (known ? kTexts.at(static_cast<std::size_t>(status))
                                    : "answers " + std::to_string(status) + "; see the log"));
  }
}

template <typename Pids>
Rows pidRows(const Pids& pids) {
  Rows rows = Rows::array();
  for (const int pid : pids) {
    rows.push_back({{"pid", pid}});
  }
  return rows;
}

int servicesClients(const ServicesOptions& options, Console& console) {
  std::vector<std::string> clients;
  require(DependentServices().getServices(options.name, clients));
  Rows rows = Rows::array();
  for (const std::string& client : clients) {
    rows.push_back({{"service", client}});
  }
  print(rows, options.json, console.out);
  return kSuccess;
}

int servicesPids(const ServicesOptions& options, Console& console) {
  const hidl_vec<hidl_string> names(options.names.begin(), options.names.end());
  hidl_vec<std::int32_t> pids;
  require(DependentServices().getServicePIDs(names, pids));
  print(pidRows(pids), options.json, console.out);
  return kSuccess;
}

int servicesActive(const ServicesOptions& options, Console& console) {
  std::vector<int> pids;
  require(DependentServices().getAllActiveServicePIDs(pids));
  print(pidRows(pids), options.json, console.out);
  return kSuccess;
}

}  // namespace

void addServices(CLI::App& app, Console& console, int& status) {
  CLI::App* const services = app.add_subcommand("services", "Ask the platform's service tracker.");
  services->require_subcommand(1);
  const Commands<ServicesOptions> commands(*services, console, status);
  constexpr char kPids[] = "an array of {pid}";
  commands
      .add("clients", "Show the services connected to a service.", "an array of {service}",
           servicesClients)
      ->add_option("NAME", commands.options->name, "Service name")
      ->required();
  commands.add("pids", "Show the processes of services.", kPids, servicesPids)
      ->add_option("NAME", commands.options->names, "Service names")
      ->required();
  commands.add("active", "Show the processes of all active services.", kPids, servicesActive);
}
