#include "NodeCommands.h"

#include <algorithm>
#include <charconv>
#include <ostream>

#include "ConfigOverrides.h"
#include "CpPLHController.h"

namespace {

/** In place of initial settings: a controller without either takes no commands. */
void* noSettings() { return nullptr; }

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
