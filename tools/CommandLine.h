#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>

#include "Console.h"

/** Adds --json to a command that has a result; what is printed is documented in its help. */
void addJson(CLI::App& command, bool& json, const std::string& what);

/** Adds an option that names an item's node. */
void addNodeOption(CLI::App& command, const char* name, std::string& path, const char* description);

/** What the value of an option or positional must be, with an error that says so. @{ */
CLI::Validator notEmpty();
CLI::Validator seconds(int most);
/** @} */

/** The same, for Option::transform(): CLI11 would take a leading zero for an octal number. */
CLI::Validator wholeNumber(std::int64_t low = std::numeric_limits<std::int32_t>::min(),
                           std::int64_t high = std::numeric_limits<std::int32_t>::max());

/** Throws std::runtime_error when there is a problem with a node that an option can name. */
void requireNode(const std::string& node, const std::string& problem, const char* option);

/** The commands below one, which share their options; the one that is named leaves its status. */
template <typename Options>
class Commands {
 public:
  Commands(CLI::App& parent, Console& console, int& status)
      : mParent(parent), mConsole(console), mStatus(status) {}

  /** Adds a command that prints what json says with --json. */
  CLI::App* add(const char* name, const char* description, const char* json,
                int (*command)(const Options&, Console&)) const {
    CLI::App* const app = mParent.add_subcommand(name, description);
    addJson(*app, options->json, json);
    app->callback([options = options, command, &console = mConsole, &status = mStatus] {
      status = command(*options, console);
    });
    return app;
  }

  const std::shared_ptr<Options> options = std::make_shared<Options>();

 private:
  CLI::App& mParent;
  Console& mConsole;
  int& mStatus;
};
