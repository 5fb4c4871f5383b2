#include <fstream>
#include <ostream>

#include "ConfigOverrides.h"
#include "CpPLHController.h"
#include "demo/Steps.h"
#include "testing/TemporaryFolder.h"

StepResult demonstrateController(DemoScene& scene) {
  const std::string& device = scene.options.device;
  const TemporaryFolder folder;
  ConfigOverrides overrides;
  const auto pathOf = [&](int item) {
    return (device.empty() ? folder.path() : device) + "/control" + std::to_string(item);
  };
  for (const int item : {1, 2, 3}) {
    overrides.set(item, pathOf(item));
  }
  std::vector<CpPLHController::Command> initial = {{1, "powersave"}, {2, "0"}, {3, "0"}};
  CpPLHController::Command governor = {1, "performance"};
  CpPLHController::Command boost = {2, "1"};
  CpPLHController controller(initial, governor, boost, "demo", nullptr);
  controller.commandCp(CpPLHController::kFirstPreset, "", 0);
  controller.commandCp(CpPLHController::kSecondPreset, "2", 0);
  controller.commandCp(CpPLHController::kAnyItem, "7", 3);

  const auto holds = [&](int item, const std::string& expected) {
    std::string text;
    std::getline(std::ifstream(pathOf(item)), text);
    scene.console.out << "item " << item << "     " << text << "\n";
    return text == expected;
  };
  bool written = holds(1, "performance");  // all are shown, whatever the others hold
  written = holds(2, "2") && written;
  written = holds(3, "7") && written;
  return {"initial settings and 3 commands written", outcomeOf(written)};
}
