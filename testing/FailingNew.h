#pragma once

#include <atomic>
#include <utility>

/** Lets allocations fail, on this thread the nth from now on, or with 0 none, and watches one. */
namespace failingnew {

inline thread_local int gThrowing = 0;  ///< of operator new, which then throws
inline thread_local int gNothrow = 0;   ///< of operator new(std::nothrow), which then returns null

inline std::atomic<const void*> gUnfreed = nullptr;  ///< becomes null when that memory is freed

/** While it lives, allocations are neither counted nor fail: for those of the tests' own code. */
class Pause {
 public:
  Pause() = default;
  ~Pause() { gThrowing = mThrowing; }

 private:
  const int mThrowing = std::exchange(gThrowing, 0);
};

}  // namespace failingnew
