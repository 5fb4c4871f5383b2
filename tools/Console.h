#pragma once

#include <iosfwd>

/** Where a command writes: results to out, one-line errors to err. */
struct Console {
  std::ostream& out;
  std::ostream& err;
  bool live;  ///< out is a terminal, on which one line may be redrawn in place
};

/** Exit statuses of lmctl. */
enum ExitStatus : int { kSuccess = 0, kFailure = 1, kUsage = 2 };
