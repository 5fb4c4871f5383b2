#include "Lmctl.h"

#include <CLI/CLI.hpp>
#include <optional>
#include <ostream>

#include "Commands.h"
#include "ConfigOverrides.h"
#include "Output.h"

namespace {

constexpr std::size_t kHelpColumn = 26;

/** The innermost command that was named. */
const CLI::App& namedCommand(const CLI::App& app) {
  const auto named = app.get_subcommands();
  return named.empty() ? app : namedCommand(*named.back());
}

/** A command as it is typed, as "lmctl watch vsync"; empty for none. */
std::string pathOf(const CLI::App* command) {
  if (command == nullptr) {
    return "";
  }
  const std::string before = pathOf(command->get_parent());
  return before + (before.empty() ? "" : " ") + command->get_name();
}

/** What is wrong with the first word that nothing takes. */
std::string unexpectedProblem(const CLI::App& app, const CLI::App& command) {
  const std::string word = app.remaining(true).front();
  if (!command.get_subcommands({}).empty() && word.front() != '-') {
    return "no command '" + word + "'";
  }
  const bool isOwn = command.get_option_no_throw(word.substr(0, word.find('='))) != nullptr;
  return isOwn ? "'" + word + "' belongs after the command and before any '--'"
               : "unexpected argument '" + word + "'";
}

/** What is wrong with a command line, where the parser speaks of its own types in words of lmctl. */
std::string usageProblem(const CLI::App& app, const CLI::ParseError& e) {
  const CLI::App& command = namedCommand(app);
  std::string what = e.what();
  switch (static_cast<CLI::ExitCodes>(e.get_exit_code())) {
    case CLI::ExitCodes::ArgumentMismatch:
      return what.substr(0, what.find(':')) +
             (what.ends_with("missing") ? " needs a value" : " is given more than once");
    case CLI::ExitCodes::ConversionError:
      return "a flag takes no value";
    case CLI::ExitCodes::ValidationError:
      return what;
    default:
      break;
  }
  if (!app.remaining(true).empty()) {
    return unexpectedProblem(app, command);
  }
  return command.get_subcommands({}).empty() ? what : "name a command";
}

int fail(const CLI::App& command, const std::string& problem, int status, Console& console) {
  const std::string path = pathOf(&command);
  console.beginError(path) << visible(problem)
                           << (status == kUsage ? "; see '" + path + " --help'" : "") << "\n";
  return status;
}

/** Sets command; or prints what was asked for, or what is wrong, and returns with which status. */
std::optional<int> parse(CLI::App& app, int argc, const char* const* argv, Console& console) {
  try {
    app.parse(argc, argv);
    return std::nullopt;
  } catch (const CLI::CallForHelp&) {
    if (app.remaining(true).empty()) {
      const CLI::App& command = namedCommand(app);
      console.out << command.help(pathOf(command.get_parent()));
      return kSuccess;
    }
    return fail(namedCommand(app), unexpectedProblem(app, namedCommand(app)), kUsage, console);
  } catch (const CLI::CallForVersion& version) {
    console.out << version.what() << "\n";
    return kSuccess;
  } catch (const CLI::ParseError& e) {
    return fail(namedCommand(app), usageProblem(app, e), kUsage, console);
  }
}

void describe(CLI::App& app) {
  app.require_subcommand(1);
  app.fallthrough();  // options of lmctl itself may follow the command, too
  app.get_formatter()->column_width(kHelpColumn);
  app.get_formatter()->label("SUBCOMMAND", "COMMAND");
  app.get_formatter()->label("OPTIONS", "OPTION...");
  app.set_help_flag("-h,--help", "Show what lmctl or a command takes");
  app.set_version_flag("--version", versionText)->description("Show the version and libraries");
}

}  // namespace

int lmctl(int argc, const char* const* argv, Console& console) try {
  CLI::App app("Tries out the services of liblmsupport.", "lmctl");
  ConfigOverrides items;
  Command command;
  describe(app);
  addCommands(app, items, command);
  if (const auto status = parse(app, argc, argv, console)) {
    return *status;
  }
  try {
    return command(console);
  } catch (const UsageError& e) {
    return fail(namedCommand(app), e.what(), kUsage, console);
  } catch (const std::exception& e) {
    return fail(namedCommand(app), e.what(), kFailure, console);
  }
} catch (const std::exception& e) {
  console.beginError() << e.what() << "\n";
  return kFailure;
}
