#pragma once

#include <utility>

/** Operator new of this thread: the nth allocation of a kind from now on fails; 0 for none. */
namespace failingnew {

inline thread_local int gThrowing = 0;
inline thread_local int gNothrow = 0;

/** Keeps what the tests' own code allocates out of the count. */
class Pause {
 public:
  Pause() = default;
  ~Pause() { gThrowing = mThrowing; }

 private:
  const int mThrowing = std::exchange(gThrowing, 0);
};

}  // namespace failingnew
