#include "Console.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <string_view>

namespace {

std::string_view variable(const char* name) {
  const char* const value = std::getenv(name);
  return value != nullptr ? value : "";
}

}  // namespace

std::string Style::apply(const char* code, const std::string& text) const {
  return color ? std::string("\033[").append(code).append("m") + text + "\033[0m" : text;
}

std::ostream& Console::beginError(const std::string& command) const {
  return err << errStyle.error(command + ":") << " ";
}

std::ostream& Console::beginNote() const { return err << errStyle.warning("lmctl:") << " "; }

TerminalSize Console::size() const {
  winsize size;
  const bool isKnown =
      ioctl(terminal, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 && size.ws_row > 0;
  return isKnown ? TerminalSize{size.ws_col, size.ws_row} : TerminalSize();
}

bool isCapableTerminal(int file) {
  const std::string_view kind = variable("TERM");
  return isatty(file) == 1 && !kind.empty() && kind != "dumb";
}

bool mayColor(int file) { return isCapableTerminal(file) && variable("NO_COLOR").empty(); }

Console standardConsole() {
  return {.out = std::cout,
          .err = std::cerr,
          .live = isCapableTerminal(STDOUT_FILENO),
          .terminal = STDOUT_FILENO,
          .style = {mayColor(STDOUT_FILENO)},
          .errStyle = {mayColor(STDERR_FILENO)}};
}
