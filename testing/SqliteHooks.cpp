#include "testing/SqliteHooks.h"

#include <sqlite3.h>

#include <cstring>

#include "testing/FailingNew.h"
#include "testing/Hooks.h"

#define FAIL_AFTERWARDS(function, word, parameters, arguments) \
  int function parameters {                                    \
    const hooks::Call call;                                    \
    const int code = REAL(function) arguments;                 \
    return call.fails(word) ? SQLITE_IOERR : code;             \
  }

#define NOTE_OR_FAIL(function, word, parameters, arguments)            \
  int function parameters {                                            \
    const failingnew::Pause pause;                                     \
    const hooks::Call call;                                            \
    if (call.isOutermost()) {                                          \
      gSql.emplace_back(sql);                                          \
    }                                                                  \
    return call.fails(word) ? SQLITE_IOERR : REAL(function) arguments; \
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

NOTE_OR_FAIL(sqlite3_prepare_v2, "prepare",
             (sqlite3 * db, const char* sql, int size, sqlite3_stmt** statement, const char** tail),
             (db, sql, size, statement, tail))
NOTE_OR_FAIL(sqlite3_exec, std::string(sql, strcspn(sql, " ")),
             (sqlite3 * db, const char* sql, sqlite3_callback callback, void* data, char** message),
             (db, sql, callback, data, message))

}  // extern "C"
