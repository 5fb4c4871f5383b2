#include "SqliteHooks.h"

#include <dlfcn.h>
#include <sqlite3.h>

#include <cstring>
#include <mutex>
#include <utility>

#include "FailingNew.h"

namespace {

std::mutex gHooksLck;
std::string gCall;
int gCallsUntilFailure = 0;
std::vector<std::string> gSql;

/** SQLite calls itself too; those calls are not counted. */
thread_local int gDepth = 0;

struct Inside {
  Inside() { ++gDepth; }
  ~Inside() { --gDepth; }
};

bool fails(const std::string& call) {
  std::lock_guard lock(gHooksLck);
  return gDepth == 1 && call == gCall && --gCallsUntilFailure == 0;
}

void note(const char* sql) {
  const failingnew::Pause pause;
  std::lock_guard lock(gHooksLck);
  if (gDepth == 1) {
    gSql.emplace_back(sql);
  }
}

}  // namespace

namespace sqlitehooks {

void failCall(const std::string& call, int nth) {
  std::lock_guard lock(gHooksLck);
  gCall = call;
  gCallsUntilFailure = nth;
}

std::vector<std::string> takeSql() {
  std::lock_guard lock(gHooksLck);
  return std::exchange(gSql, {});
}

}  // namespace sqlitehooks

#define REAL(name) reinterpret_cast<decltype(&name)>(dlsym(RTLD_NEXT, #name))
#define FAIL_INSTEAD(name, call, parameters, arguments)                \
  int name parameters {                                                \
    const Inside inside;                                               \
    return fails(call) ? sqlitehooks::kFailure : REAL(name) arguments; \
  }
#define FAIL_AFTERWARDS(name, call, parameters, arguments) \
  int name parameters {                                    \
    const Inside inside;                                   \
    const int code = REAL(name) arguments;                 \
    return fails(call) ? sqlitehooks::kFailure : code;     \
  }

extern "C" {

FAIL_AFTERWARDS(sqlite3_open_v2, "open",
                (const char* file, sqlite3** db, int flags, const char* vfs),
                (file, db, flags, vfs))
FAIL_AFTERWARDS(sqlite3_finalize, "finalize", (sqlite3_stmt * statement), (statement))
FAIL_AFTERWARDS(sqlite3_close, "close", (sqlite3 * db), (db))
FAIL_INSTEAD(sqlite3_step, "step", (sqlite3_stmt * statement), (statement))
FAIL_AFTERWARDS(sqlite3_reset, "reset", (sqlite3_stmt * statement), (statement))
FAIL_INSTEAD(sqlite3_bind_int, "bind", (sqlite3_stmt * statement, int number, int value),
             (statement, number, value))

int sqlite3_prepare_v2(sqlite3* db, const char* sql, int size, sqlite3_stmt** statement,
                       const char** tail) {
  const Inside inside;
  note(sql);
  return fails("prepare") ? sqlitehooks::kFailure
                          : REAL(sqlite3_prepare_v2)(db, sql, size, statement, tail);
}

int sqlite3_exec(sqlite3* db, const char* sql, sqlite3_callback callback, void* data,
                 char** message) {
  const Inside inside;
  note(sql);
  return fails({sql, strcspn(sql, " ")}) ? sqlitehooks::kFailure
                                         : REAL(sqlite3_exec)(db, sql, callback, data, message);
}

}  // extern "C"
