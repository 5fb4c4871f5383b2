#include <ostream>

#include "Completion.h"
#include "ShellText.h"

namespace {

/** Drops the words of the command, so that _arguments sees what belongs to it. */
constexpr char kWords[] = R"(#compdef lmctl
# zsh completion for lmctl; printed by 'lmctl completion zsh'

_lmctl() {
  local command=lmctl
  local -i i last=1
  for ((i = 2; i < CURRENT; i++)); do
    case "$command $words[i]" in
)";

constexpr char kEntries[] = R"(        command+=" $words[i]"
        last=i
        ;;
    esac
  done
  words=(lmctl "${(@)words[last+1,-1]}")
  ((CURRENT -= last - 1))
)";

constexpr char kCommands[] = R"(  local -a below=()
  case $command in
)";

constexpr char kReply[] = R"(  esac
  (($#below)) && entries+=('1:command:{_describe command below}')
  _arguments "$entries[@]"
}

if [[ $funcstack[1] == _lmctl ]]; then
  _lmctl "$@"
else
  compdef _lmctl lmctl
fi
)";

/** Text where zsh takes brackets and colons for its own. */
std::string escaped(const std::string& text) {
  std::string result;
  for (const char c : text) {
    result += std::string(c == '[' || c == ']' || c == ':' ? "\\" : "") + c;
  }
  return result;
}

std::string valueSpec(const Argument& argument) {
  const ValueKind kind = kindOf(argument);
  return ":" + argument.value + ":" +
         (kind == kFile     ? "_files"
          : kind == kFolder ? "_files -/"
                            : "");
}

/** What _arguments takes for options and positionals. */
std::vector<std::string> entries(const Command& command) {
  std::vector<std::string> all;
  for (const Argument& option : command.options) {
    for (const std::string& name : option.names) {
      all.push_back(quoted((option.repeatable ? "*" : "") + name +
                           (option.value.empty() ? "" : "=") + "[" + escaped(option.help) + "]" +
                           (option.value.empty() ? "" : valueSpec(option))));
    }
  }
  for (std::size_t i = 0; i < command.positionals.size(); ++i) {
    const Argument& argument = command.positionals[i];
    all.push_back(
        quoted((argument.repeatable ? "*" : std::to_string(i + 1)) + valueSpec(argument)));
  }
  return all;
}

void printList(const char* assignment, const std::vector<std::string>& values, std::ostream& out) {
  if (!values.empty()) {
    out << "      " << assignment << "(" << join(values, " ") << ")\n";
  }
}

}  // namespace

void printZshCompletion(const Command& lmctl, std::ostream& out) {
  out << kWords << "      (" << join(commandPaths(lmctl), " | ") << ")\n"
      << kEntries << "  local -a entries=(" << join(entries(lmctl), " ") << ")\n"
      << kCommands;
  for (const Command* const command : flatten(lmctl)) {
    std::vector<std::string> below;
    for (const Command& verb : command->commands) {
      below.push_back(quoted(escaped(verb.name()) + ":" + verb.help));
    }
    out << "    (" << quoted(command->path) << ")\n";
    printList("entries+=", command != &lmctl ? entries(*command) : std::vector<std::string>(), out);
    printList("below=", below, out);
    out << "      ;;\n";
  }
  out << kReply;
}
