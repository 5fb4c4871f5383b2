#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

/** An option, or a positional argument. */
struct Argument {
  std::vector<std::string> names;  ///< as they are typed, "--node"; of a positional, "FILE"
  std::string value;               ///< what a value is called; empty for a flag
  std::string help;
  std::string fallback;  ///< what it is when not given, when that is worth telling
  bool required;
  bool repeatable;

  bool isPositional() const { return names.front() == value; }
};

/** A command as the parser knows it: what help, completion and manual are made from. */
struct Command {
  std::string path;   ///< "lmctl watch vsync"
  std::string group;  ///< the heading that it is listed under
  std::string help;
  std::string footer;
  std::vector<Argument> options;  ///< its own; those of lmctl, as --help, may follow, too
  std::vector<Argument> positionals;
  std::vector<Command> commands;

  std::string name() const { return path.substr(path.rfind(' ') + 1); }
};

/** Describes a command and those below it. */
Command describe(const CLI::App& app);

/** A command and all those below it, each before its own. They live as long as command. */
std::vector<const Command*> flatten(const Command& command);

/** What texts become, joined by separator. */
std::string join(const std::vector<std::string>& texts, const char* separator);
