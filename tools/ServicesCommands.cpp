#include "ServicesCommands.h"

#include <array>
#include <ostream>
#include <stdexcept>

#include "DependentServices.h"
#include "Rows.h"

using android::hardware::hidl_string;
using android::hardware::hidl_vec;

namespace {

/** Throws unless the status is success; the texts follow the values of Status. */
void require(int status) {
  static constexpr std::array kTexts = {"success", "found nothing", "does not support this",
                                        "refuses the name", "cannot be reached; see the log"};
  if (status != 0) {
    const auto known = static_cast<std::size_t>(status) < kTexts.size();
    throw std::runtime_error("the service tracker " +
                             (known ? kTexts.at(static_cast<std::size_t>(status))
                                    : "answers " + std::to_string(status)));
  }
}

int print(const Rows& rows, bool json, Console& console) {
  if (json) {
    printJson(rows, console.out);
  } else {
    printTable(rows, console.out);
  }
  return kSuccess;
}

template <typename Pids>
Rows pidRows(const Pids& pids) {
  Rows rows = Rows::array();
  for (const int pid : pids) {
    rows.push_back({{"pid", pid}});
  }
  return rows;
}

}  // namespace

int servicesClients(const ServicesOptions& options, Console& console) {
  std::vector<std::string> clients;
  require(DependentServices().getServices(options.name, clients));
  Rows rows = Rows::array();
  for (const std::string& client : clients) {
    rows.push_back({{"service", client}});
  }
  return print(rows, options.json, console);
}

int servicesPids(const ServicesOptions& options, Console& console) {
  const hidl_vec<hidl_string> names(options.names.begin(), options.names.end());
  hidl_vec<std::int32_t> pids;
  require(DependentServices().getServicePIDs(names, pids));
  return print(pidRows(pids), options.json, console);
}

int servicesActive(const ServicesOptions& options, Console& console) {
  std::vector<int> pids;
  require(DependentServices().getAllActiveServicePIDs(pids));
  return print(pidRows(pids), options.json, console);
}
