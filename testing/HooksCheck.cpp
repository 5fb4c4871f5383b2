// Checks that this program's functions do take the place of those of other libraries. On Android that is
// so only for libraries in the program's own linker namespace. For others, a call that is to fail would
// succeed, and the test of its failure would test nothing.

#include <gtest/gtest.h>

#include <new>
#include <string>

#include "LMDatabase.h"
#include "StatsProvider.h"
#include "testing/FailingNew.h"
#include "testing/FakeKernel.h"
#include "testing/Hooks.h"
#include "testing/LogCapture.h"
#include "testing/SqliteHooks.h"

namespace {

constexpr char kAdvice[] =
    " is not replaced by this program: run it where it shares a linker namespace with that library";

/** Runs before the first test. If it fails, no test is run. */
class HooksAreUsed : public testing::Environment {
 public:
  void SetUp() override {
    FakeKernel kernel;
    StatsProvider().isApiSupported(1);
    EXPECT_FALSE(kernel.request.empty()) << "libnl's sendmsg" << kAdvice;
    EXPECT_FALSE(kernel.released.empty()) << "the library's nl_socket_free" << kAdvice;

    const LogCapture log;
    LMDatabase<_preKill_User_Launched_Data>("t", "/nowhere/", "t.db").LMDatabaseInit();
    EXPECT_FALSE(log.texts().empty()) << "the library's __android_log_print" << kAdvice;
    gSql.clear();
    LMDatabase<_preKill_User_Launched_Data>("t", "", ":memory:").LMDatabaseInit();
    EXPECT_FALSE(gSql.empty()) << "the library's sqlite3_exec" << kAdvice;

    gSql.resize(1);
    failingnew::gThrowing = 1;
    EXPECT_THROW(gSql[0].assign(1000, 'x'), std::bad_alloc)
        << "the C++ library's operator new" << kAdvice;
    failingnew::gThrowing = 0;
    ASSERT_FALSE(testing::Test::HasFailure());
  }
};

/** Fails a test in which a call that was to fail was never made. */
class FailuresHappen : public testing::EmptyTestEventListener {
  void OnTestEnd(const testing::TestInfo&) override {
    EXPECT_EQ(hooks::callAwaited(), "") << "was to fail, but was not called or" << kAdvice;
    hooks::failCall("");
  }
};

const auto* const gEnvironment = testing::AddGlobalTestEnvironment(new HooksAreUsed);
const bool gIsListening = [] {
  testing::UnitTest::GetInstance()->listeners().Append(new FailuresHappen);
  return true;
}();

}  // namespace
