#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <string_view>

#include "Lmctl.h"

namespace {

bool canRedraw() {
  const char* const terminal = std::getenv("TERM");
  return isatty(STDOUT_FILENO) == 1 && terminal != nullptr && terminal != std::string_view("dumb");
}

}  // namespace

int main(int argc, char** argv) {
  Console console{std::cout, std::cerr, canRedraw()};
  const int status = lmctl(argc, argv, console);
  std::cout.flush();
  std::cerr.flush();
  _exit(std::cout.good() || status != kSuccess ? status : kFailure);
}
