#include "Commands.h"

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <ostream>
#include <stdexcept>

#include "AsyncEventsMgr.h"
#include "CpPLHController.h"
#include "DependentServices.h"
#include "NodeChecks.h"
#include "Output.h"
#include "config/Nodes.h"

using android::hardware::hidl_string;
using android::hardware::hidl_vec;
using nlohmann::ordered_json;

int lookUpProcess(const LookupOptions& options, Console& console) {
  std::string name = options.name;
  const int pid = options.once ? AsyncEvent::getPidExpensive(name) : AsyncEvent::getPid(name);
  if (pid < 1) {
    if (const std::string problem = accessProblem(kForegroundTasks, R_OK); !problem.empty()) {
      throw std::runtime_error(problem + "; run it where the foreground tasks are listed");
    }
    throw std::runtime_error("process '" + name + "': not in " + kForegroundTasks +
                             "; bring it to the foreground");
  }
  if (options.json) {
    printJson({{"name", name}, {"pid", pid}}, console.out);
  } else {
    console.out << pid << "\n";
  }
  return kSuccess;
}

namespace {

/** Throws unless the tracker's status is success; the texts follow the values of Status. */
void requireAnswer(int status) {
  static constexpr std::array kTexts = {
      "success", "found nothing; check the name", "does not support this; it may be too old",
      "refuses the name; check it", "cannot be reached; see 'lmctl doctor'"};
  const auto index = static_cast<std::size_t>(status);
  if (index != 0) {
    throw std::runtime_error("the service tracker " + (index < kTexts.size()
                                                           ? kTexts[index]
                                                           : "answers " + std::to_string(status)));
  }
}

template <typename Values>
void printColumn(const char* name, const Values& values, bool json, std::ostream& out) {
  ordered_json rows = ordered_json::array();
  for (const auto& value : values) {
    rows.push_back({{name, value}});
  }
  printRows(rows, json, out);
}

}  // namespace

int servicesClients(const ServicesOptions& options, Console& console) {
  const QuietLog quiet;
  std::vector<std::string> clients;
  requireAnswer(DependentServices().getServices(options.name, clients));
  printColumn("service", clients, options.json, console.out);
  return kSuccess;
}

int servicesPids(const ServicesOptions& options, Console& console) {
  const QuietLog quiet;
  const hidl_vec<hidl_string> names(options.names.begin(), options.names.end());
  hidl_vec<std::int32_t> pids;
  requireAnswer(DependentServices().getServicePIDs(names, pids));
  printColumn("pid", pids, options.json, console.out);
  return kSuccess;
}

int servicesActive(const ServicesOptions& options, Console& console) {
  const QuietLog quiet;
  std::vector<int> pids;
  requireAnswer(DependentServices().getAllActiveServicePIDs(pids));
  printColumn("pid", pids, options.json, console.out);
  return kSuccess;
}

namespace {

/** In place of initial settings: a controller without either takes no commands. */
void* noSettings() { return nullptr; }

/** Writes as a client does. Throws with the system's reason, which errno still tells afterwards. */
void writeThroughController(int item, const std::string& path, const std::string& value) {
  std::vector<CpPLHController::Command> none;
  CpPLHController::Command unused;
  CpPLHController controller(none, unused, unused, "lmctl", noSettings);
  errno = 0;
  const int attempted = controller.commandCp(CpPLHController::kAnyItem, value, item);
  if (attempted != 1 || errno != 0) {
    throw std::runtime_error(path + ": not written: " + std::strerror(errno));
  }
}

/** What a node holds, without the line's end; null for one that cannot be read or read again. */
ordered_json contentsOf(const std::string& path) {
  struct stat file;
  if (stat(path.c_str(), &file) != 0 || !S_ISREG(file.st_mode)) {
    return nullptr;
  }
  std::ifstream stream(path);
  std::string text(std::istreambuf_iterator<char>(stream), {});
  if (stream.bad() || !accessProblem(path, R_OK).empty()) {
    return nullptr;
  }
  text.resize(text.find_last_not_of('\n') + 1);
  return text;
}

}  // namespace

int writeNode(const NodeOptions& options, Console& console) {
  const std::string item = std::to_string(options.item);
  if (const std::string problem = nodeProblem(options.item, W_OK); !problem.empty()) {
    throw std::runtime_error("no node to write: " + problem + "; name one with --item " + item +
                             "=PATH");
  }
  const std::string path = lmsupport::configuredNodePath(options.item);
  writeThroughController(options.item, path, options.value);
  const ordered_json contents = contentsOf(path);
  const ordered_json row = {
      {"item", options.item}, {"node", path}, {"written", options.value}, {"read", contents}};
  printRows(options.json ? row : ordered_json::array({row}), options.json, console.out);
  return kSuccess;
}
