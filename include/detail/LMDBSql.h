#pragma once

#include <sqlite3.h>

#include <memory>
#include <string>

#include "LMDBDataTable.h"
#include "LMLog.h"

/**
 * @file
 * SQLite calls and texts of the row store in LMDatabase.h, which is the header to include.
 */

namespace lmsupport {

/** Releases a statement. */
struct SqlFinalize {
  /** Finalizes it, whatever state it is in. */
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
/** A statement, released with its owner. */
using SqlStatement = std::unique_ptr<sqlite3_stmt, SqlFinalize>;

/** How a log line names a failed statement. @{ */
inline constexpr char kError[] = "ERROR";
inline constexpr char kSqlError[] = "sql:ERROR";
/** @} */

/** Calls on one table's connection. Failures are logged in the name of the calling function. */
class SqlCalls {
 public:
  /** Keeps both, which outlive the object. */
  SqlCalls(sqlite3* db, const std::string& tableName) : mDb(db), mTableName(tableName) {}

  /** The statement of sql; null when SQLite refuses it. */
  SqlStatement prepare(const std::string& sql, const char* kind,
                       const char* function = __builtin_FUNCTION(),
                       int line = __builtin_LINE()) const {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(mDb, sql.c_str(), -1, &statement, nullptr) != SQLITE_OK) {
      logFailure(kind, mTableName, function, line);
    }
    return SqlStatement(statement);
  }

  /** Executes sql; a failure is logged as one of the table or file in about. */
  bool execute(const char* sql, const char* kind, const std::string& about,
               const char* function = __builtin_FUNCTION(), int line = __builtin_LINE()) const {
    if (sqlite3_exec(mDb, sql, nullptr, nullptr, nullptr) == SQLITE_OK) {
      return true;
    }
    logFailure(kind, about, function, line);
    return false;
  }

  /** Executes sql, and "ROLLBACK TRANSACTION;" when it fails. */
  void executeOrRollBack(const char* sql, const char* function = __builtin_FUNCTION(),
                         int line = __builtin_LINE()) const {
    if (!execute(sql, kSqlError, mTableName, function, line)) {
      execute("ROLLBACK TRANSACTION;", kSqlError, mTableName, function, line);
    }
  }

  /** Whether code is the expected one; another is logged. */
  bool check(int code, int expected, const char* function = __builtin_FUNCTION(),
             int line = __builtin_LINE()) const {
    if (code == expected) {
      return true;
    }
    LM_LOGE_RAW(kLmdb.tag, "%s() %d: sql:ERROR:Dbt=%s info=%d\n", function, line,
                mTableName.c_str(), code);
    return false;
  }

 private:
  void logFailure(const char* kind, const std::string& about, const char* function,
                  int line) const {
    LM_LOGE_RAW(kLmdb.tag, "%s() %d: %s:Dbt=%s info=%s\n", function, line, kind, about.c_str(),
                sqlite3_errmsg(mDb));
  }

  sqlite3* const mDb;
  const std::string& mTableName;
};

/** Appends the WHERE clause for key to query; nothing for a key with no field set. May throw. */
inline void appendWhere(const LMDBDataRowKey& key, std::string& query) {
  if (key.appName.empty() && key.rsvdName.empty() && key.intcol1 == kNoIntcol1) {
    return;
  }
  query += "WHERE (";  // first, so that a text cut short by an exception is no valid SQL
  std::string names;
  std::string values;
  const auto add = [&](const char* name, const std::string& value) {
    const char* const separator = names.empty() ? "" : ",";
    (names += separator) += name;
    (values += separator) += value;
  };
  if (!key.appName.empty()) {
    add("appName", "'" + key.appName + "'");
  }
  if (!key.rsvdName.empty()) {
    add("rsvdName", "'" + key.rsvdName + "'");
  }
  if (key.intcol1 != kNoIntcol1) {
    add("intcol1", std::to_string(key.intcol1));
  }
  query += names + ") = (" + values + ") ";
}

}  // namespace lmsupport
