#include <ostream>

#include "Completion.h"
#include "ShellText.h"

namespace {

/** Follows the words so far; a kind is pending after an option that takes a value. */
constexpr char kWords[] = R"(# bash completion for lmctl; printed by 'lmctl completion bash'

_lmctl() {
  local current=${COMP_WORDS[COMP_CWORD]} command=lmctl kind='' below='' options='' word
  local -i place=0
  [[ $current == = ]] && current=''
  for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
    if [[ $word == = ]]; then
      kind=${kind:-f}
      continue
    elif [[ $kind ]]; then
      kind=''
      continue
    fi
    case "$command $word" in
)";

constexpr char kCurrentWord[] = R"(      *' '-*) ;;
      *) place+=1 ;;
    esac
  done
  if [[ ! $kind && $current != -* ]]; then
    case "$command $place" in
)";

constexpr char kOptions[] = R"(    esac
  fi
  case $command in
)";

constexpr char kReply[] = R"(  esac
  case $kind in
    f | d)
      compopt -o filenames 2>/dev/null
      mapfile -t COMPREPLY < <(compgen -"$kind" -- "$current")
      ;;
    t) COMPREPLY=() ;;
    *)
      [[ $below && $current != -* ]] && options=$below
      mapfile -t COMPREPLY < <(compgen -W "$options" -- "$current")
      ;;
  esac
}

complete -F _lmctl lmctl
)";

void printCases(const std::vector<std::string>& patterns, const std::string& action,
                std::ostream& out) {
  for (const std::string& pattern : patterns) {
    out << "      " << pattern << ") " << action << " ;;\n";
  }
}

/** The command and name of each option with a value of a kind. */
std::vector<std::string> valueOptions(const Command& lmctl, ValueKind kind) {
  std::vector<std::string> patterns;
  for (const Command* const command : flatten(lmctl)) {
    for (const Argument& option : command->options) {
      for (const std::string& name : option.names) {
        if (!option.value.empty() && kindOf(option) == kind) {
          patterns.push_back(command == &lmctl ? std::string("*").append(quoted(" " + name))
                                               : quoted(command->path + " " + name));
        }
      }
    }
  }
  return patterns;
}

/** The command and place of each positional of a kind. */
std::vector<std::string> places(const Command& lmctl, ValueKind kind) {
  std::vector<std::string> patterns;
  for (const Command* const command : flatten(lmctl)) {
    for (std::size_t i = 0; i < command->positionals.size(); ++i) {
      if (kindOf(command->positionals[i]) == kind) {
        patterns.push_back(quoted(command->path + " " + std::to_string(i)));
      }
    }
  }
  return patterns;
}

}  // namespace

void printBashCompletion(const Command& lmctl, std::ostream& out) {
  out << kWords;
  printCases(commandPaths(lmctl), R"(command+=" $word")", out);
  for (const ValueKind kind : {kText, kFile, kFolder}) {
    printCases(valueOptions(lmctl, kind), std::string("kind=") + static_cast<char>(kind), out);
  }
  out << kCurrentWord;
  for (const ValueKind kind : {kFile, kFolder}) {
    printCases(places(lmctl, kind), std::string("kind=") + static_cast<char>(kind), out);
  }
  out << kOptions;
  for (const Command* const command : flatten(lmctl)) {
    std::vector<std::string> below;
    for (const Command& verb : command->commands) {
      below.push_back(verb.name());
    }
    std::vector<std::string> options = namesOf(command->options);
    if (command != &lmctl) {
      const auto more = namesOf(lmctl.options);
      options.insert(options.end(), more.begin(), more.end());
    }
    out << "    " << quoted(command->path) << ") below=" << quoted(join(below, " "))
        << " options=" << quoted(join(options, " ")) << " ;;\n";
  }
  out << kReply;
}
