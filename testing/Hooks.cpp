#include "testing/Hooks.h"

#include <gtest/gtest.h>

#include <mutex>

namespace {

std::mutex gHooksLck;
std::string gCall;
int gCallsUntilFailure = 0;
thread_local int gDepth = 0;

/** Fails a test in which a call that was to fail was never made: it tested nothing. */
class FailuresHappen : public testing::EmptyTestEventListener {
  void OnTestEnd(const testing::TestInfo&) override {
    std::lock_guard lock(gHooksLck);
    EXPECT_TRUE(gCall.empty() || gCallsUntilFailure < 1)
        << gCall << " was to fail, but was not called, or is not interposed: on Android, run the "
        << "program where it shares a linker namespace with that library";
    gCall.clear();
  }
};

const bool gIsListening = [] {
  testing::UnitTest::GetInstance()->listeners().Append(new FailuresHappen);
  return true;
}();

}  // namespace

namespace hooks {

void failCall(const std::string& call, int nth) {
  std::lock_guard lock(gHooksLck);
  gCall = call;
  gCallsUntilFailure = nth;
}

Call::Call() { ++gDepth; }

Call::~Call() { --gDepth; }

bool Call::isOutermost() const { return gDepth == 1; }

bool Call::fails(const std::string& call) const {
  std::lock_guard lock(gHooksLck);
  return isOutermost() && call == gCall && --gCallsUntilFailure == 0;
}

}  // namespace hooks
