// Fails a program whose functions do not take the place of those of other libraries. On Android a
// library calls them only from the program's own linker namespace: elsewhere, a test of a failing call
// would meet none, and pass without having tested anything.

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
    " is not taken over by this program: run it where it shares a linker namespace with that "
    "library";

/** Before the first test; if it fails, none is run. */
class HooksAreTaken : public testing::Environment {
 public:
  void SetUp() override {
    checkNetlink();
    checkSqlite();
    checkNew();
    ASSERT_FALSE(testing::Test::HasFailure());
  }

 private:
  static void checkNetlink() {
    FakeKernel kernel;
    StatsProvider().isApiSupported(1);
    EXPECT_FALSE(kernel.request.empty()) << "libnl's sendmsg" << kAdvice;
    EXPECT_FALSE(kernel.released.empty()) << "the library's nl_socket_free" << kAdvice;
  }

  static void checkSqlite() {
    const LogCapture log;
    LMDatabase<_preKill_User_Launched_Data>("t", "/nowhere/", "t.db").LMDatabaseInit();
    EXPECT_FALSE(log.texts().empty()) << "the library's __android_log_print" << kAdvice;
    gSql.clear();
    LMDatabase<_preKill_User_Launched_Data>("t", "", ":memory:").LMDatabaseInit();
    EXPECT_FALSE(gSql.empty()) << "the library's sqlite3_exec" << kAdvice;
  }

  static void checkNew() {
    gSql.resize(1);
    failingnew::gThrowing = 1;
    EXPECT_THROW(gSql[0].assign(1000, 'x'), std::bad_alloc)
        << "the C++ library's operator new" << kAdvice;
    failingnew::gThrowing = 0;
  }
};

/** After each test. */
class FailuresAreMet : public testing::EmptyTestEventListener {
  void OnTestEnd(const testing::TestInfo&) override {
    EXPECT_EQ(hooks::callAwaited(), "") << "which was to fail" << kAdvice;
    hooks::failCall("");
  }
};

const auto* const gEnvironment = testing::AddGlobalTestEnvironment(new HooksAreTaken);
const bool gIsListening = [] {
  testing::UnitTest::GetInstance()->listeners().Append(new FailuresAreMet);
  return true;
}();

}  // namespace
