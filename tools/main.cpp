#include <unistd.h>

#include <iostream>

#include "Lmctl.h"

int main(int argc, char** argv) {
  Console console = standardConsole();
  const int status = lmctl(argc, argv, console);
  std::cout.flush();
  const bool isLost = status == kSuccess && !std::cout.good();
  if (isLost) {
    console.beginError() << "cannot write to standard output\n";
  }
  std::cerr.flush();
  _exit(isLost ? kFailure : status);
}
