#include "Lmctl.h"

#include <CLI/CLI.hpp>
#include <ostream>
#include <vector>

#include "CommandTree.h"
#include "Completion.h"
#include "ConfigOverrides.h"
#include "DbCommands.h"
#include "Doctor.h"
#include "Favourites.h"
#include "HelpText.h"
#include "LookupCommand.h"
#include "Manual.h"
#include "NodeCommands.h"
#include "ServicesCommands.h"
#include "StatsCommands.h"
#include "Version.h"
#include "WatchCommands.h"
#include "demo/Demo.h"
#include "report/ReportCommand.h"

namespace {

/** The innermost subcommand that was named. */
const CLI::App& namedCommand(const CLI::App& app) {
  const auto named = app.get_subcommands();
  return named.empty() ? app : namedCommand(*named.back());
}

/** A command does its work while the arguments are parsed, and leaves its exit status. */
using AddCommands = void (*)(CLI::App& app, Console& console, int& status);

struct Group {
  const char* title;
  std::vector<AddCommands> commands;
};

/** In the order of the help. */
const std::vector<Group> kGroups = {
    {"First steps", {addDemo, addDoctor}},
    {"Events", {addWatch, addReport}},
    {"Processes and system", {addLookup, addStats, addMemory, addServices, addNode}},
    {"Row stores", {addDb, addFavourites}},
    {"This tool", {addCompletion, addManual}},
};

void addCommands(CLI::App& app, Console& console, int& status) {
  for (const Group& group : kGroups) {
    for (const AddCommands add : group.commands) {
      add(app, console, status);
      app.get_subcommands({}).back()->group(group.title);
    }
  }
}

std::string usageProblem(const CLI::App& app, const Command& command, const char* what) {
  if (const auto unknown = app.remaining(true); !unknown.empty()) {
    return "unexpected argument '" + unknown.front() + "'";
  }
  return command.commands.empty() ? what : "no command; usage: " + usage(command);
}

}  // namespace

int lmctl(int argc, const char* const* argv, Console& console) try {
  CLI::App app("Tries out the services of liblmsupport.", "lmctl");
  app.require_subcommand(1);
  app.fallthrough();  // options of lmctl itself may follow the command, too
  app.set_help_flag("-h,--help", "Show what lmctl or a command takes");
  app.set_version_flag("--version", versionText)
      ->description("Show the version, and which library files are loaded");
  ConfigOverrides items;
  addItems(app, items);
  int status = kSuccess;
  addCommands(app, console, status);
  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp&) {
    console.out << helpText(describe(namedCommand(app)));
  } catch (const CLI::CallForVersion& version) {
    console.out << version.what() << "\n";
  } catch (const CLI::ParseError& e) {
    const Command command = describe(namedCommand(app));
    console.err << command.path << ": " << usageProblem(app, command, e.what()) << "; see '"
                << command.path << " --help'\n";
    return kUsage;
  }
  return status;
} catch (const std::exception& e) {
  console.beginError() << e.what() << "\n";
  return kFailure;
}
