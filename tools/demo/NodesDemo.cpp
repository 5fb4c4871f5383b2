#include <fstream>
#include <iterator>
#include <ostream>

#include "ConfigOverrides.h"
#include "CpPLHController.h"
#include "Rows.h"
#include "demo/Steps.h"
#include "testing/TemporaryFolder.h"

namespace {

std::string contents(const std::string& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace

StepResult demonstrateController(DemoScene& scene) {
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

  scene.console.out << "presets    item 1 (" << governor.second << ") and item 2 (" << boost.second
                    << ")\n";
  Rows rows = Rows::array();
  const auto show = [&](const char* step) {
    Rows row = {{"step", step}};
    for (const int item : {1, 2, 3}) {
      row["node " + std::to_string(item)] = contents(pathOf(item));
    }
    rows.push_back(row);
  };
  show("initial settings");
  int attempted = controller.commandCp(CpPLHController::kFirstPreset, "", 0);
  show("first preset");
  attempted += controller.commandCp(CpPLHController::kSecondPreset, "2", 0);
  show("second preset, value 2");
  attempted += controller.commandCp(CpPLHController::kAnyItem, "7", 3);
  show("item 3, value 7");
  printTable(rows, scene.console.out);
  const bool written = contents(pathOf(1)) == "performance" && contents(pathOf(2)) == "2" &&
                       contents(pathOf(3)) == "7";
  return {"initial settings and " + std::to_string(attempted) + " commands written",
          outcomeOf(attempted == 3 && written)};
}
