#pragma once

#include <dlfcn.h>

#include <string>

/** For functions of shared libraries that the tests put themselves in front of. */

/** The function that is stood in front of. */
#define REAL(name) reinterpret_cast<decltype(&name)>(dlsym(RTLD_NEXT, #name))

namespace hooks {

/** Lets the nth call of that name from now on fail; none for an empty name. */
void failCall(const std::string& call, int nth = 1);

/** The call that was to fail and has not been made since; empty if there is none. */
std::string callAwaited();

/** One call of a hooked function. Libraries call themselves too: those calls are not counted. */
class Call {
 public:
  Call();
  ~Call();

  bool isOutermost() const;
  bool fails(const std::string& call) const;
};

}  // namespace hooks
