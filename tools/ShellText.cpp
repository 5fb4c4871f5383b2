#include "ShellText.h"

ValueKind kindOf(const Argument& argument) {
  if (argument.value == "FILE" || argument.value == "PATH") {
    return kFile;
  }
  return argument.value == "DIR" ? kFolder : kText;
}

std::string quoted(const std::string& text) {
  std::string result = "'";
  for (const char c : text) {
    result += c == '\'' ? std::string("'\\''") : std::string(1, c);
  }
  return result + "'";
}

std::vector<std::string> commandPaths(const Command& lmctl) {
  std::vector<std::string> paths;
  for (const Command* const command : flatten(lmctl)) {
    if (command != &lmctl) {
      paths.push_back(quoted(command->path));
    }
  }
  return paths;
}

std::vector<std::string> namesOf(const std::vector<Argument>& options) {
  std::vector<std::string> names;
  for (const Argument& option : options) {
    names.insert(names.end(), option.names.begin(), option.names.end());
  }
  return names;
}
