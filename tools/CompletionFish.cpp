#include <ostream>

#include "Completion.h"
#include "ShellText.h"

namespace {

constexpr char kBegin[] = R"(# fish completion for lmctl; printed by 'lmctl completion fish'

function __lmctl_is_at
    set -l command lmctl
    for word in (commandline -opc)[2..-1]
        switch "$command $word"
            case )";

constexpr char kEnd[] = R"(
                set command "$command $word"
        end
    end
    test "$command" = "$argv"
end

complete -c lmctl -f
)";

/** How fish is told of the kind of a word. */
const char* flags(ValueKind kind) {
  switch (kind) {
    case kFile:
      return " -rF";
    case kFolder:
      return " -xa '(__fish_complete_directories)'";
    default:
      return " -x";
  }
}

void printOption(const std::string& where, const Argument& option, std::ostream& out) {
  out << where;
  for (const std::string& name : option.names) {
    const bool isLong = name.starts_with("--");
    out << (isLong ? " -l " : " -s ") << name.substr(isLong ? 2 : 1);
  }
  out << (option.value.empty() ? "" : flags(kindOf(option))) << " -d " << quoted(option.help)
      << "\n";
}

}  // namespace

void printFishCompletion(const Command& lmctl, std::ostream& out) {
  out << kBegin << join(commandPaths(lmctl), " ") << kEnd;
  for (const Command* const command : flatten(lmctl)) {
    const bool isAnywhere = command == &lmctl;
    const std::string where = "complete -c lmctl -n \"__lmctl_is_at " + command->path + "\"";
    for (const Argument& option : command->options) {
      printOption(isAnywhere ? "complete -c lmctl" : where, option, out);
    }
    for (const Command& below : command->commands) {
      out << where << " -a " << below.name() << " -d " << quoted(below.help) << "\n";
    }
    for (const Argument& argument : command->positionals) {
      if (kindOf(argument) != kText) {
        out << where << " -F\n";
      }
    }
  }
}
