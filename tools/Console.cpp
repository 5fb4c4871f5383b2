#include "Console.h"

#include <langinfo.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <clocale>
#include <cstdlib>
#include <iostream>
#include <string_view>

namespace {

std::string_view variable(const char* name) {
  const char* const value = std::getenv(name);
  return value != nullptr ? value : "";
}

/** Asks for the user's locale without changing the process's, on which isalnum() and others rely. */
bool isUtf8Wanted() {
  const locale_t locale = newlocale(LC_CTYPE_MASK, "", nullptr);
  if (locale == nullptr) {
    return false;
  }
  const bool utf8 = nl_langinfo_l(CODESET, locale) == std::string_view("UTF-8");
  freelocale(locale);
  return utf8;
}

}  // namespace

std::string Style::apply(const char* code, const std::string& text) const {
  constexpr char kPlain[] = "\033[0m";
  return color ? std::string("\033[").append(code).append("m") + text + kPlain : text;
}

std::ostream& Console::beginError(const std::string& command) const {
  return err << errStyle.error(command + ":") << " ";
}

std::ostream& Console::beginNote() const { return err << errStyle.warning("lmctl:") << " "; }

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
          .unicode = isUtf8Wanted(),
          .style = {mayColor(STDOUT_FILENO)},
          .errStyle = {mayColor(STDERR_FILENO)}};
}

Screen::Screen(const Console& console) : unicode(console.unicode), style(console.style) {
  winsize size;
  if (ioctl(console.terminal, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 && size.ws_row > 0) {
    columns = size.ws_col;
    rows = size.ws_row;
  }
}
