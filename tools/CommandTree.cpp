#include "CommandTree.h"

#include <CLI/CLI.hpp>

namespace {

std::string pathOf(const CLI::App& app) {
  const CLI::App* const parent = app.get_parent();
  return parent != nullptr ? pathOf(*parent) + " " + app.get_name() : app.get_name();
}

Argument describeArgument(const CLI::Option& option) {
  Argument argument = {
      .names = {},
      .value = {},
      .help = option.get_description(),
      .fallback = option.get_default_str(),
      .required = option.get_required(),
      .repeatable = option.get_expected_max() == CLI::detail::expected_max_vector_size};
  if (option.get_positional()) {
    argument.value = option.get_name(true, false);
    argument.names = {argument.value};
    return argument;
  }
  for (const std::string& name : option.get_snames()) {
    argument.names.push_back("-" + name);
  }
  for (const std::string& name : option.get_lnames()) {
    argument.names.push_back("--" + name);
  }
  if (option.get_items_expected_max() > 0) {
    const std::string type = option.get_type_name();
    argument.value = type.substr(0, type.find(':'));  // without what its validators add
  }
  return argument;
}

}  // namespace

Command describe(const CLI::App& app) {
  Command command = {.path = pathOf(app),
                     .group = app.get_group() != "Subcommands" ? app.get_group() : "Commands",
                     .help = app.get_description(),
                     .footer = app.get_footer(),
                     .options = {},
                     .positionals = {},
                     .commands = {}};
  for (const CLI::Option* const option : app.get_options()) {
    if (app.get_parent() != nullptr && option == app.get_help_ptr()) {
      continue;
    }
    auto& arguments = option->get_positional() ? command.positionals : command.options;
    arguments.push_back(describeArgument(*option));
  }
  for (const CLI::App* const below : app.get_subcommands({})) {
    command.commands.push_back(describe(*below));
  }
  return command;
}

std::vector<const Command*> flatten(const Command& command) {
  std::vector<const Command*> all = {&command};
  for (const Command& below : command.commands) {
    const auto more = flatten(below);
    all.insert(all.end(), more.begin(), more.end());
  }
  return all;
}

std::string join(const std::vector<std::string>& texts, const char* separator) {
  return CLI::detail::join(texts, separator);
}
