#pragma once

#include <dlfcn.h>

#include <string>

/** @file For test programs that interpose functions of shared libraries. */

/** The library's function of that name, which a function of the program interposes. */
#define REAL(name) reinterpret_cast<decltype(&name)>(dlsym(RTLD_NEXT, #name))

namespace hooks {

/**
 * Lets the nth call of that name from now on fail; with an empty name none. The test fails if it ends
 * before that call.
 */
void failCall(const std::string& call, int nth = 1);

/**
 * One call of an interposed function, as long as it lives. A library may call its own functions within
 * that: such inner calls never fail.
 */
class Call {
 public:
  Call();
  ~Call();

  bool isOutermost() const;

  /** Counts the call; returns whether it is the one that failCall lets fail. */
  bool fails(const std::string& call) const;
};

}  // namespace hooks
