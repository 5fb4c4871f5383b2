#include "testing/Hooks.h"

#include <mutex>

namespace {

std::mutex gHooksLck;
std::string gCall;
int gCallsUntilFailure = 0;
thread_local int gDepth = 0;

}  // namespace

namespace hooks {

void failCall(const std::string& call, int nth) {
  std::lock_guard lock(gHooksLck);
  gCall = call;
  gCallsUntilFailure = nth;
}

std::string callAwaited() {
  std::lock_guard lock(gHooksLck);
  return gCallsUntilFailure > 0 ? gCall : "";
}

Call::Call() { ++gDepth; }

Call::~Call() { --gDepth; }

bool Call::isOutermost() const { return gDepth == 1; }

bool Call::fails(const std::string& call) const {
  std::lock_guard lock(gHooksLck);
  return isOutermost() && call == gCall && --gCallsUntilFailure == 0;
}

}  // namespace hooks
