#pragma once

#include <sqlite3.h>

#include <algorithm>
#include <cstring>
#include <list>
#include <memory>
#include <mutex>
#include <string>

#include "LMDBDataTable.h"
#include "LMDBLog.h"

/**
 * @file
 * Steps of the row store in LMDatabase.h, which is the header to include.
 */

namespace lmsupport::detail {

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

/** Calls on one table's connection. Failures are logged in the name of the operation that made it. */
class SqlCalls {
 public:
  /** Keeps all three, which outlive the object. */
  SqlCalls(sqlite3* const& db, const std::string& tableName,
           const char* operation = __builtin_FUNCTION())
      : mDb(db), mTableName(tableName), mOperation(operation) {}

  /** The statement of sql; null when SQLite refuses it. */
  SqlStatement prepare(const std::string& sql, const char* kind,
                       int line = __builtin_LINE()) const {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(mDb, sql.c_str(), -1, &statement, nullptr) != SQLITE_OK) {
      logFailure(kind, mTableName, line);
    }
    return SqlStatement(statement);
  }

  /** Executes sql; a failure is logged as one of the table or file in about. */
  bool execute(const char* sql, const char* kind, const std::string& about,
               int line = __builtin_LINE()) const {
    if (sqlite3_exec(mDb, sql, nullptr, nullptr, nullptr) == SQLITE_OK) {
      return true;
    }
    logFailure(kind, about, line);
    return false;
  }

  /** Executes sql, and "ROLLBACK TRANSACTION;" when it fails. */
  void executeOrRollBack(const char* sql, int line = __builtin_LINE()) const {
    if (!execute(sql, kSqlError, mTableName, line)) {
      execute("ROLLBACK TRANSACTION;", kSqlError, mTableName, line);
    }
  }

  /** Whether code is the expected one; another is logged. */
  bool check(int code, int expected, int line = __builtin_LINE()) const {
    if (code == expected) {
      return true;
    }
    __android_log_print(ANDROID_LOG_ERROR, kLmdb.tag, "%s() %d: sql:ERROR:Dbt=%s info=%d\n",
                        mOperation, line, mTableName.c_str(), code);
    return false;
  }

  /** Releases statement. Whether that succeeded; a failure is logged. */
  bool finalize(SqlStatement& statement, int line = __builtin_LINE()) const {
    return check(sqlite3_finalize(statement.release()), SQLITE_OK, line);
  }

  /** Logs that the database in file could not be opened or closed. */
  void logFileFailure(const char* what, const std::string& file, int code,
                      int line = __builtin_LINE()) const {
    __android_log_print(ANDROID_LOG_ERROR, kLmdb.tag,
                        "%s: %s() %d: ERROR:Db=%s sql %s failed, err=%d\n", kLmdb.component,
                        mOperation, line, file.c_str(), what, code);
  }

 private:
  void logFailure(const char* kind, const std::string& about, int line) const {
    __android_log_print(ANDROID_LOG_ERROR, kLmdb.tag, "%s() %d: %s:Dbt=%s info=%s\n", mOperation,
                        line, kind, about.c_str(), sqlite3_errmsg(mDb));
  }

  sqlite3* const& mDb;
  const std::string& mTableName;
  const char* const mOperation;
};

/** The path of the database; a database without a file is in memory. */
inline std::string pathOf(const std::string& directory, const std::string& fileName) {
  return fileName.empty() ? ":memory:" : directory + fileName;
}

/** Creates the table unless it exists. */
inline lmdbError createLMdbTables(sqlite3* const& db, const std::string& tableName) {
  const SqlCalls sql(db, tableName);
  return guard(kLmdb, kLmdbWording, LMDB_SUCCESS, [&] {
    const std::string create = "CREATE TABLE IF NOT EXISTS " + tableName +
                               "(intcol1 INTEGER, appName TEXT NOT null, rsvdName TEXT, blob BLOB)";
    return sql.execute(create.c_str(), kError, tableName) ? LMDB_SUCCESS : LMDB_FAILURE;
  });
}

/** Appends the WHERE clause for key to query; nothing for a key with no field set. May throw. */
inline void appendWhere(const LMDBDataRowKey& key, std::string& query) {
  if (key.appName.empty() && key.rsvdName.empty() && key.intcol1 == kNoIntcol1) {
    return;
  }
  query += "WHERE (";  // first, so that a text that an exception cuts short is not valid SQL
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

/** The same; when memory is short, logs it and leaves the text built so far. */
inline void build_query_for_where_clause(const LMDBDataRowKey& key, std::string& query) {
  guard(kLmdb, kLmdbClauseWording, [&] { appendWhere(key, query); });
}

/** start, the table's name and the WHERE clause for key. May throw. */
inline std::string queryFor(const char* start, const std::string& tableName,
                            const LMDBDataRowKey& key) {
  std::string query = start + tableName + " ";
  // Without memory the clause is left incomplete. As there is room for its beginning, it does begin,
  // and SQLite refuses the text; without any clause a deletion would empty the table.
  query.reserve(query.size() + sizeof("WHERE ("));
  build_query_for_where_clause(key, query);
  return query;
}

/** Copies min(dstSize, srcSize) bytes and returns how many. */
inline std::size_t copyBounded(void* dst, std::size_t dstSize, const void* src,
                               std::size_t srcSize) {
  const std::size_t size = std::min(dstSize, srcSize);
  if (size > 0) {
    std::memcpy(dst, src, size);
  }
  return size;
}

/** Fills row from the statement's current result. */
template <typename T>
void fillRow(sqlite3_stmt* statement, LMDBDataRow<T>& row) {
  const auto text = [statement](int column) {
    return reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
  };
  // No value is 0 as an integer and null as a text. Only a 0 need become a text to tell them apart.
  if (const int value = sqlite3_column_int(statement, 0); value != 0 || text(0) != nullptr) {
    row.intcol1 = value;
  }
  if (const char* const appName = text(1); appName != nullptr) {
    row.appName = std::string(appName);  // faster than assigning the characters
  }
  if (const char* const rsvdName = text(2); rsvdName != nullptr) {
    row.rsvdName = std::string(rsvdName);
  }
  const void* const blob = sqlite3_column_blob(statement, 3);
  const auto stored = static_cast<std::size_t>(sqlite3_column_bytes(statement, 3));
  if (stored < sizeof(T)) {  // the store never writes that
    std::memset(static_cast<void*>(&row.payload), 0, sizeof(T));
  }
  copyBounded(&row.payload, sizeof(T), blob, stored);
  row.rowId = sqlite3_column_int64(statement, 4);
}

/**
 * Binds what row has and steps its statement. What it has not keeps what the row before it had
 * bound, and of the row's id only the low 32 bits are bound.
 */
template <typename T>
void writeRow(const SqlCalls& sql, sqlite3_stmt* statement, const LMDBDataRow<T>& row) {
  const auto bindText = [&](int number, const std::string& text) {
    if (!text.empty()) {
      sql.check(sqlite3_bind_text(statement, number, text.c_str(), -1, SQLITE_STATIC), SQLITE_OK);
    }
  };
  if (row.intcol1 != kNoIntcol1) {
    sql.check(sqlite3_bind_int(statement, 1, row.intcol1), SQLITE_OK);
  }
  bindText(2, row.appName);
  bindText(3, row.rsvdName);
  sql.check(sqlite3_bind_blob(statement, 4, &row.payload, sizeof(T), SQLITE_STATIC), SQLITE_OK);
  if (row.rowId != 0) {
    sql.check(sqlite3_bind_int(statement, 5, static_cast<int>(row.rowId)), SQLITE_OK);
  }
  sql.check(sqlite3_step(statement), SQLITE_DONE);
  sql.check(sqlite3_reset(statement), SQLITE_OK);
}

/** Moves the table's oldest cached row to the end of taken; false when there is none. */
template <typename T>
bool takeCachedRow(LMDBDataTable<T>& table, std::list<LMDBDataRow<T>*>& taken) {
  std::lock_guard lock(table.mRowCacheLck);
  if (table.mRowCache.empty()) {
    return false;
  }
  taken.splice(taken.end(), table.mRowCache, table.mRowCache.begin());
  return true;
}

}  // namespace lmsupport::detail
