#include "Lmctl.h"

#include <CLI/CLI.hpp>
#include <algorithm>
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
#include "ShellText.h"
#include "StatsCommands.h"
#include "Texts.h"
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

/** What is wrong with an argument that nothing takes; lmctl itself gets options before a command. */
std::string unexpectedProblem(const std::string& argument, const Command& command) {
  const auto own = namesOf(command.options);
  const bool isOwn =
      std::find(own.begin(), own.end(), argument.substr(0, argument.find('='))) != own.end();
  return isOwn ? "'" + argument + "' belongs after the command"
               : "unexpected argument '" + argument + "'";
}

/** In words of lmctl's, where those of the parser are about its types. */
std::string usageProblem(const CLI::App& app, const Command& command, const CLI::ParseError& e) {
  std::string what = e.what();
  if (const auto unknown = app.remaining(true); !unknown.empty()) {
    return unexpectedProblem(unknown.front(), command);
  }
  if (!command.commands.empty()) {
    return "no command; usage: " + usage(command);
  }
  if (dynamic_cast<const CLI::ArgumentMismatch*>(&e) != nullptr) {
    return what.substr(0, what.find(':')) +
           (what.ends_with("missing") ? " needs a value" : " is there more than once");
  }
  if (dynamic_cast<const CLI::ConversionError*>(&e) != nullptr) {
    return "a flag takes no value";
  }
  return what;
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
    console.beginError(command.path)
        << visible(usageProblem(app, command, e)) << "; see '" << command.path << " --help'\n";
    return kUsage;
  } catch (const std::exception& e) {
    console.beginError(describe(namedCommand(app)).path) << visible(e.what()) << "\n";
    return kFailure;
  }
  return status;
} catch (const std::exception& e) {
  console.beginError() << e.what() << "\n";
  return kFailure;
}
