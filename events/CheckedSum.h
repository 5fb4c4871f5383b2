#pragma once

#include <cstdlib>

namespace lmsupport {

/** a + b. There is no sum beyond the type's range: that ends the process. */
inline unsigned long checkedSum(unsigned long a, unsigned long b) {
  unsigned long sum = 0;
  if (__builtin_add_overflow(a, b, &sum)) {
    std::abort();
  }
  return sum;
}

}  // namespace lmsupport
