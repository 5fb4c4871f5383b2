#include "testing/SqliteHooks.h"

#include <sqlite3.h>

#include <cstring>
#include <string_view>

#include "testing/FailingNew.h"
#include "testing/Hooks.h"

namespace {

bool fails(const hooks::Call& call, std::string_view word, const char* sql) {
  const failingnew::Pause pause;
  if (call.isOutermost()) {
    gSql.emplace_back(sql);
  }
  return call.fails(std::string(word));
}

}  // namespace

#define FAIL_AFTERWARDS(function, word, parameters, arguments) \
  int function parameters {                                    \
    const hooks::Call call;                                    \
    const int code = REAL(function) arguments;                 \
    return call.fails(word) ? SQLITE_IOERR : code;             \
  }

extern "C" {

FAIL_AFTERWARDS(sqlite3_close, "close", (sqlite3 * db), (db))
FAIL_AFTERWARDS(sqlite3_step, "step", (sqlite3_stmt * statement), (statement))
FAIL_AFTERWARDS(sqlite3_reset, "reset", (sqlite3_stmt * statement), (statement))
FAIL_AFTERWARDS(sqlite3_finalize, "finalize", (sqlite3_stmt * statement), (statement))
FAIL_AFTERWARDS(sqlite3_bind_int, "bind_int", (sqlite3_stmt * statement, int number, int value),
                (statement, number, value))
FAIL_AFTERWARDS(sqlite3_bind_text, "bind_text",
                (sqlite3_stmt * statement, int number, const char* text, int size,
                 void (*release)(void*)),
                (statement, number, text, size, release))
FAIL_AFTERWARDS(sqlite3_bind_blob, "bind_blob",
                (sqlite3_stmt * statement, int number, const void* blob, int size,
                 void (*release)(void*)),
                (statement, number, blob, size, release))

int sqlite3_prepare_v2(sqlite3* db, const char* sql, int size, sqlite3_stmt** statement,
                       const char** tail) {
  const hooks::Call call;
  return fails(call, "prepare", sql) ? SQLITE_IOERR
                                     : REAL(sqlite3_prepare_v2)(db, sql, size, statement, tail);
}

int sqlite3_exec(sqlite3* db, const char* sql, sqlite3_callback callback, void* data,
                 char** message) {
  const hooks::Call call;
  return fails(call, {sql, strcspn(sql, " ")}, sql)
             ? SQLITE_IOERR
             : REAL(sqlite3_exec)(db, sql, callback, data, message);
}

}  // extern "C"
