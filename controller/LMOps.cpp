#include <limits>

#include "CpPLHController.h"

int LMOps::Subtract(int a, int b) {
  const bool tooSmall = b > 0 && std::numeric_limits<int>::min() + b > a;
  const bool tooLarge = b < 0 && std::numeric_limits<int>::max() + b < a;
  return tooSmall || tooLarge ? 0 : a - b;
}
