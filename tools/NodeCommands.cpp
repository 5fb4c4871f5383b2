#include "NodeCommands.h"

#include <charconv>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <ostream>

#include "ConfigOverrides.h"
#include "CpPLHController.h"
#include "Rows.h"
#include "TemporaryFolder.h"

namespace {

enum CommandType : int { kFirstPreset, kSecondPreset, kAnyItem };

/** In place of initial settings: a controller without either takes no commands. */
void* noSettings() { return nullptr; }

std::string contents(const std::string& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace

std::string itemProblem(const std::string& text) {
  const std::size_t equals = text.find('=');
  const char* const end = text.data() + std::min(equals, text.size());
  int item = 0;
  const auto [rest, error] = std::from_chars(text.data(), end, item);
  if (equals == std::string::npos || error != std::errc() || rest != end) {
    return "'" + text + "' is not a number, '=' and a path";
  }
  return nodePathProblem(text.substr(equals + 1));
}

int writeNode(int item, const std::string& value, Console& console) {
  if (const std::string problem = nodeProblem(item, W_OK); !problem.empty()) {
    console.err << "lmctl: no node to write: " << problem << "; name one with --item " << item
                << "=PATH\n";
    return kFailure;
  }
  std::vector<CpPLHController::Command> none;
  CpPLHController::Command unused;
  CpPLHController controller(none, unused, unused, "lmctl", noSettings);
  return controller.commandCp(kAnyItem, value, item) == 1 ? kSuccess : kFailure;
}

int demonstrateController(Console& console) {
  const TemporaryFolder folder;
  ConfigOverrides overrides;
  const auto pathOf = [&](int item) { return folder.path() + "/node" + std::to_string(item); };
  for (const int item : {1, 2, 3}) {
    overrides.set(item, pathOf(item));
  }
  std::vector<CpPLHController::Command> initial = {{1, "powersave"}, {2, "0"}, {3, "0"}};
  CpPLHController::Command governor = {1, "performance"};
  CpPLHController::Command boost = {2, "1"};
  CpPLHController controller(initial, governor, boost, "demo", nullptr);

  console.out << "Node commands: presets for items 1 (" << governor.second << ") and 2 ("
              << boost.second << ")\n";
  Rows rows = Rows::array();
  const auto show = [&](const char* step) {
    Rows row = {{"step", step}};
    for (const int item : {1, 2, 3}) {
      row["node " + std::to_string(item)] = contents(pathOf(item));
    }
    rows.push_back(row);
  };
  show("initial settings");
  int attempted = controller.commandCp(kFirstPreset, "", 0);
  show("first preset");
  attempted += controller.commandCp(kSecondPreset, "2", 0);
  show("second preset, value 2");
  attempted += controller.commandCp(kAnyItem, "7", 3);
  show("item 3, value 7");
  printTable(rows, console.out);
  return attempted == 3 ? kSuccess : kFailure;
}
