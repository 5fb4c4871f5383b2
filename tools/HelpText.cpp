#include "HelpText.h"

#include <iomanip>
#include <sstream>

namespace {

constexpr std::size_t kWidth = 80;
constexpr std::size_t kIndent = 28;

/** Text in lines, the first one continued from column on, the others indented. */
std::string wrapped(const std::string& text, std::size_t indent, std::size_t column) {
  std::istringstream words(text);
  std::string lines;
  for (std::string word; words >> word;) {
    const bool isFirst = lines.empty();
    if (!isFirst && column + 1 + word.size() > kWidth) {
      lines.append("\n").append(indent, ' ');
      column = indent;
    } else if (!isFirst) {
      lines += ' ';
      ++column;
    }
    lines += word;
    column += word.size();
  }
  return lines + "\n";
}

/** An entry of a list: what is typed, and what it is for. */
std::string entry(const std::string& typed, const std::string& help) {
  std::ostringstream line;
  line << "  " << std::left << std::setw(kIndent - 2) << typed;
  if (typed.size() + 4 > kIndent) {
    line << "\n" << std::string(kIndent, ' ');
  }
  line << wrapped(help, kIndent, kIndent);
  return line.str();
}

std::string list(const char* title, const std::vector<Argument>& arguments) {
  std::string text;
  if (!arguments.empty()) {
    text.append("\n").append(title).append(":\n");
  }
  for (const Argument& argument : arguments) {
    text += entry(typed(argument), explained(argument));
  }
  return text;
}

/** Commands under the headings of their groups, each with the names of those below it. */
std::string listCommands(const std::vector<Command>& commands) {
  std::string text;
  std::string group;
  for (const Command& command : commands) {
    if (command.group != group) {
      group = command.group;
      text.append("\n").append(group).append(":\n");
    }
    std::vector<std::string> below;
    for (const Command& verb : command.commands) {
      below.push_back(verb.name());
    }
    const std::string separator = below.empty() ? "" : " ";
    text += entry(command.name() + separator + join(below, "|"), command.help);
  }
  return text;
}

}  // namespace

std::string typed(const Argument& argument) {
  std::string text = join(argument.names, ", ");
  if (!argument.isPositional() && !argument.value.empty()) {
    text.append(" ").append(argument.value);
  }
  return text;
}

std::string explained(const Argument& argument) {
  std::string text = argument.help;
  if (argument.required && !argument.isPositional()) {
    text += "; required";
  }
  if (!argument.fallback.empty()) {
    text.append("; ").append(argument.fallback).append(" when not given");
  }
  return text;
}

std::string usage(const Command& command) {
  std::string text = command.path + (command.options.empty() ? "" : " [OPTIONS]");
  for (const Argument& argument : command.positionals) {
    const std::string value = argument.value + (argument.repeatable ? "..." : "");
    text += argument.required ? " " + value : " [" + value + "]";
  }
  return text + (command.commands.empty() ? "" : " COMMAND");
}

std::string helpText(const Command& command) {
  std::string text = wrapped(command.help, 0, 0) + "\nUsage: " + usage(command) + "\n" +
                     list("Arguments", command.positionals) + list("Options", command.options) +
                     listCommands(command.commands);
  if (!command.footer.empty()) {
    text.append("\n").append(wrapped(command.footer, 0, 0));
  }
  if (command.path != command.name()) {
    text += "\nOptions of lmctl itself may follow, too; see 'lmctl --help'.\n";
  }
  return text;
}
