#include <unistd.h>

#include <iostream>

#include "Lmctl.h"

int main(int argc, char** argv) {
  Console console = standardConsole();
  const int status = lmctl(argc, argv, console);
  std::cout.flush();
  std::cerr.flush();
  _exit(std::cout.good() || status != kSuccess ? status : kFailure);
}
