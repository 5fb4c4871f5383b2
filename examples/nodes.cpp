// Writes texts to kernel nodes by item number. Files stand for the nodes.

#include <AsyncEventsMgr.h>
#include <CpPLHController.h>
#include <HostCore.h>

#include <cstdio>
#include <filesystem>
#include <fstream>

using Controller = CpPLHController;

int main() {
  char folder[] = "/tmp/lmsupport-XXXXXX";
  if (mkdtemp(folder) == nullptr) return 1;
  const auto pathOf = [&](const std::string& name) { return std::string(folder) + "/" + name; };
  hostcore::setItem(40, pathOf("governor"));  // a device's core library knows the nodes
  hostcore::setItem(41, pathOf("boost"));
  const auto show = [&](const char* step, int result) {
    std::string governor;
    std::string boost;
    std::getline(std::ifstream(pathOf("governor")), governor);
    std::getline(std::ifstream(pathOf("boost")), boost);
    std::printf("%-28s %d  %s, %s\n", step, result, governor.c_str(), boost.c_str());
  };

  std::vector<Controller::Command> initial = {{40, "powersave"}, {41, "0"}};
  Controller::Command first = {40, "performance"};
  Controller::Command second = {41, "1"};
  Controller controller(initial, first, second, "example", nullptr);
  show("initial settings", 0);
  show("first preset", controller.commandCp(Controller::kFirstPreset, "", 0));
  show("second preset, other value", controller.commandCp(Controller::kSecondPreset, "2", 0));
  show("any item", controller.commandCp(Controller::kAnyItem, "ondemand", 40));
  show("unknown item", controller.commandCp(Controller::kAnyItem, "1", 99));  // 0: not attempted
  show("an integer, by path", AsyncEvent::updateSysNodes(pathOf("boost"), 3));
  show("no such node", AsyncEvent::updateSysNodes(pathOf("none/at/all"), 3));  // -1, and logged
  std::filesystem::remove_all(folder);
}
