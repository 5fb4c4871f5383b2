#include "NodeCommands.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <ostream>
#include <stdexcept>

#include "CommandLine.h"
#include "ConfigOverrides.h"
#include "CpPLHController.h"
#include "Rows.h"

namespace {

struct NodeWrite {
  int item = 0;
  std::string value;
  bool json = false;
};

/** In place of initial settings: a controller without either takes no commands. */
void* noSettings() { return nullptr; }

/** Why text is not "ITEM=PATH", or nothing. */
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

/** Writes the value to the item's node, which must exist, with a controller. */
int writeNode(const NodeWrite& write, Console& console) {
  const std::string item = std::to_string(write.item);
  if (const std::string problem = nodeProblem(write.item, W_OK); !problem.empty()) {
    throw std::runtime_error("no node to write: " + problem + "; name one with --item " + item +
                             "=PATH");
  }
  std::vector<CpPLHController::Command> none;
  CpPLHController::Command unused;
  CpPLHController controller(none, unused, unused, "lmctl", noSettings);
  if (controller.commandCp(CpPLHController::kAnyItem, write.value, write.item) != 1) {
    throw std::runtime_error("item " + item + ": not written; see the log");
  }
  if (write.json) {
    printJson({{"item", write.item}, {"attempted", true}}, console.out);
  }
  return kSuccess;
}

}  // namespace

void addItems(CLI::App& app, ConfigOverrides& overrides) {
  app.add_option_function<std::vector<std::string>>(
         "--item",
         [&overrides](const std::vector<std::string>& items) {
           for (const std::string& item : items) {
             const std::size_t equals = item.find('=');
             overrides.set(std::stoi(item), item.substr(equals + 1));
           }
         },
         "Node of an item, instead of the configured one; repeatable")
      ->type_name("N=PATH")
      ->allow_extra_args(false)
      ->check(CLI::Validator(itemProblem, "", ""));
}

void addNode(CLI::App& app, Console& console, int& status) {
  CLI::App* const node = app.add_subcommand("node", "Write to kernel nodes by their item.");
  node->require_subcommand(1);
  const Commands<NodeWrite> commands(*node, console, status);
  CLI::App* const write = commands.add(
      "write", "Write a text to an item's node; whether its driver takes it is not known.",
      "an object {item, attempted}", writeNode);
  write->add_option("ITEM", commands.options->item, "Item number")
      ->required()
      ->transform(wholeNumber());
  write->add_option("VALUE", commands.options->value, "Text, written as it is")->required();
}
