#pragma once

#include <sstream>
#include <string>
#include <vector>

#include "Lmctl.h"

struct LmctlResult {
  int status;
  std::string out, err;
};

/** Runs lmctl in this process. */
inline LmctlResult runLmctl(std::vector<const char*> words) {
  words.insert(words.begin(), "lmctl");
  std::ostringstream out;
  std::ostringstream err;
  Console console{out, err, false};
  const int status = lmctl(static_cast<int>(words.size()), words.data(), console);
  return {status, out.str(), err.str()};
}
