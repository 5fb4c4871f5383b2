#include "SqliteHooks.h"

#include <sqlite3.h>

#include <cstring>
#include <mutex>
#include <utility>

#include "FailingNew.h"
#include "Hooks.h"

using sqlitehooks::kFailure;

namespace {

std::mutex gSqlLck;
std::vector<std::string> gSql;

void note(const hooks::Call& call, const char* sql) {
  const failingnew::Pause pause;
  std::lock_guard lock(gSqlLck);
  if (call.isOutermost()) {
    gSql.emplace_back(sql);
  }
}

}  // namespace

std::vector<std::string> sqlitehooks::takeSql() {
  std::lock_guard lock(gSqlLck);
  return std::exchange(gSql, {});
}

#define FAIL_INSTEAD(name, word, parameters, arguments)        \
  int name parameters {                                        \
    const hooks::Call call;                                    \
    return call.fails(word) ? kFailure : REAL(name) arguments; \
  }
#define FAIL_AFTERWARDS(name, word, parameters, arguments) \
  int name parameters {                                    \
    const hooks::Call call;                                \
    const int code = REAL(name) arguments;                 \
    return call.fails(word) ? kFailure : code;             \
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
  const hooks::Call call;
  note(call, sql);
  return call.fails("prepare") ? kFailure
                               : REAL(sqlite3_prepare_v2)(db, sql, size, statement, tail);
}

int sqlite3_exec(sqlite3* db, const char* sql, sqlite3_callback callback, void* data,
                 char** message) {
  const hooks::Call call;
  note(call, sql);
  return call.fails({sql, strcspn(sql, " ")})
             ? kFailure
             : REAL(sqlite3_exec)(db, sql, callback, data, message);
}

}  // extern "C"
