#pragma once

#include <sqlite3.h>

#include <algorithm>
#include <cstring>
#include <list>
#include <mutex>
#include <string>
#include <utility>

#include "LMDBDataTable.h"
#include "detail/LMAttributes.h"
#include "detail/LMDBSql.h"
#include "detail/LMLog.h"

/**
 * A typed row store: one SQLite file, one table, a payload of one type per row, and a cache of rows
 * that wait to be written.
 *
 *     using Store = LMDatabase<_preKill_User_Launched_Data>;
 *     Store store("launches", "/data/vendor/lm/", "launches.db");
 *     if (store.LMDatabaseInit() != LMDB_SUCCESS) return;
 *
 *     if (std::unique_ptr<Store::Row> row(store.getRow()); row != nullptr) {
 *       row->appName = "com.mail";
 *       row->payload.launchCount = 3;
 *       store.cacheRow(std::move(row));  // the store's from here on
 *     }
 *     store.LMDatabaseWriteCachedToDisk();
 *
 *     LMDBDataRowKey key;
 *     key.appName = "com.mail";
 *     for (auto* row : store.readAllocateDR(key, 0, LMDB_COL_ROWID, LMDB_ASCENDING)) {
 *       std::printf("%d\n", row->payload.launchCount);
 *       delete row;  // a row that was read is the reader's
 *     }
 *
 * Calling order: construction, LMDatabaseInit() once, then any mix of the other operations,
 * destruction, which writes what is cached and closes. Before LMDatabaseInit(), and after it failed
 * to open the file, the operations do nothing and succeed; the cache keeps its rows.
 *
 * Threads: any thread may call getRow() and cacheRow(), also during a write, which takes mRowCacheLck
 * only to remove one row at a time. All other operations belong to one thread at a time.
 *
 * Failures are logged under the tag ANDR-PERF. Nothing is thrown.
 *
 * Notes, each of which can surprise:
 * - A key's texts go into the SQL text between single quotes as they are. A quote in them, or SQL
 *   after it, is for the caller to keep out.
 * - A row with an empty text, or intcol1 without a value, is written with the value of the row
 *   before it in the same call and of the same kind (new or existing), since that stays bound.
 * - A write keeps the cache when a statement cannot be prepared, and returns -1, or when memory for
 *   the statements' texts is short, and returns 0. Otherwise every row leaves the cache and is
 *   deleted, written or not, and the result tells only of the statements' release. Without a
 *   transaction (BEGIN failed) the rows are written one by one.
 * - Row ids above 2147483647 cannot be updated: the id is bound with 32 bits.
 * - A read returns at most 10000 rows, in SQLite's order; limit and order are ignored. A look-up by
 *   key reads the whole table, as there is no index: its cost grows with the number of rows.
 * - closeLMdb() keeps the handle: a store closed by hand must neither be used nor destroyed.
 */
template <typename T>
class LM_API LMDatabase : public LMDBDataTable<T> {
 public:
  using Row = LMDBDataRow<T>;         ///< a row
  using Table = LMDBDataTable<T>;     ///< the base
  using vecT = typename Table::vecT;  ///< rows that were read
  using Table::mTableName;

  /**
   * Opens nothing. The path is directory and fileName put together, so directory ends with "/". An
   * empty fileName makes a store in memory.
   */
  LMDatabase(std::string tableName, std::string directory, std::string fileName)
      : Table(std::move(tableName)),
        mDbDirectory(std::move(directory)),
        mDbFileName(std::move(fileName)) {}

  /** Writes what is cached and closes. */
  ~LMDatabase();

  /** The same as openLMdb(). */
  lmdbError LMDatabaseInit() { return openLMdb(); }

  /**
   * Opens the file, creating it if need be, turns on the write-ahead log and creates the table.
   * Fails when the file cannot be opened, which leaves the store closed, or the table not created.
   */
  lmdbError openLMdb();

  /** Closes the connection; the handle stays as it is. Succeeds when there is none. */
  lmdbError closeLMdb();

  /** Writes all cached rows, in one transaction, and deletes them. Blocks for the disk. */
  lmdbError writeCachedDRToDisk();

  /** The same as writeCachedDRToDisk(). */
  lmdbError LMDatabaseWriteCachedToDisk() {
    return writeCachedDRToDisk() == LMDB_SUCCESS ? LMDB_SUCCESS : LMDB_FAILURE;
  }

  /**
   * The rows in the table that match key, for the caller to delete.
   *
   * None when the query cannot be prepared or an exception ends it; the rows before when SQLite or
   * the allocation of a row fails on the way. Only the log tells either from a complete answer.
   */
  vecT readAllocateDR(LMDBDataRowKey& key, unsigned long limit, lmdbOrderByCol col,
                      lmdbOrderByDir dir);

  /** Deletes the rows in the table that match key. Returns how many, or -1. */
  int deleteAllDR(LMDBDataRowKey& key);

  /** Appends the WHERE clause for key to query; nothing for a key with no field set. */
  static void build_query_for_where_clause(LMDBDataRowKey& key, std::string& query);

  /** Copies min(dstSize, srcSize) bytes and returns how many. */
  static std::size_t LMDB_memscpy(void* dst, unsigned long dstSize, const void* src,
                                  unsigned long srcSize);

  sqlite3* mDb = nullptr;    ///< null until the store is open
  std::string mDbDirectory;  ///< ends with "/"
  std::string mDbFileName;   ///< empty for a store in memory

 private:
  std::string path() const { return mDbFileName.empty() ? ":memory:" : mDbDirectory + mDbFileName; }

  lmdbError createLMdbTables();

  /** Moves the oldest cached row to the end of taken; false when there is none. */
  bool takeCachedRow(std::list<Row*>& taken);

  /** Binds and steps one row's statement. */
  void writeRow(sqlite3_stmt* statement, const Row& row);

  /** Fills row from the statement's current result. */
  static void fillRow(sqlite3_stmt* statement, Row& row);

  /** start, the table's name and the WHERE clause of key. */
  std::string queryFor(const char* start, LMDBDataRowKey& key) const;

  lmsupport::SqlCalls sql() const { return {mDb, mTableName}; }
};

template <typename T>
LMDatabase<T>::~LMDatabase() {
  writeCachedDRToDisk();
  closeLMdb();
}

template <typename T>
lmdbError LMDatabase<T>::openLMdb() {
  try {
    const std::string file = path();
    const int code =
        sqlite3_open_v2(file.c_str(), &mDb, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
    if (code != SQLITE_OK) {
      LM_LOGE(lmsupport::kLmdb, "ERROR:Db=%s sql open failed, err=%d\n", file.c_str(), code);
      closeLMdb();
      mDb = nullptr;
      return LMDB_FAILURE;
    }
    if (!mDbFileName.empty()) {
      sql().execute("PRAGMA journal_mode=WAL", lmsupport::kSqlError, file);
    }
    return createLMdbTables();
  } catch (...) {
    lmsupport::logLmdbCaught("Caught Exception");
    return LMDB_FAILURE;
  }
}

template <typename T>
lmdbError LMDatabase<T>::createLMdbTables() {
  try {
    const std::string create = "CREATE TABLE IF NOT EXISTS " + mTableName +
                               "(intcol1 INTEGER, appName TEXT NOT null, rsvdName TEXT, blob BLOB)";
    return sql().execute(create.c_str(), lmsupport::kError, mTableName) ? LMDB_SUCCESS
                                                                        : LMDB_FAILURE;
  } catch (...) {
    lmsupport::logLmdbCaught("Caught Exception");
    return LMDB_SUCCESS;
  }
}

template <typename T>
lmdbError LMDatabase<T>::closeLMdb() {
  if (mDb == nullptr) {
    return LMDB_SUCCESS;
  }
  const int code = sqlite3_close(mDb);
  if (code == SQLITE_OK) {
    return LMDB_SUCCESS;
  }
  try {
    LM_LOGE(lmsupport::kLmdb, "ERROR:Db=%s sql close failed, err=%d\n", path().c_str(), code);
  } catch (...) {
    lmsupport::logLmdbCaught("Caught Exception");
  }
  return LMDB_FAILURE;
}

template <typename T>
lmdbError LMDatabase<T>::writeCachedDRToDisk() {
  if (mDb == nullptr) {
    return LMDB_SUCCESS;
  }
  try {
    lmsupport::SqlStatement insert = sql().prepare(
        "INSERT INTO " + mTableName + "(intcol1, appName, rsvdName, blob) VALUES (?,?,?,?)",
        lmsupport::kError);
    if (insert == nullptr) {
      return LMDB_FAILURE;
    }
    lmsupport::SqlStatement update =
        sql().prepare("UPDATE " + mTableName +
                          " SET (intcol1, appName, rsvdName, blob) = (?,?,?,?) WHERE (rowid) = (?)",
                      lmsupport::kError);
    if (update == nullptr) {
      return LMDB_FAILURE;
    }
    sql().executeOrRollBack("BEGIN IMMEDIATE TRANSACTION;");
    {
      lmsupport::Owned<std::list<Row*>> taken;  // the statements point into the rows
      while (takeCachedRow(taken)) {
        const Row& row = *taken.back();
        writeRow(row.rowId != 0 ? update.get() : insert.get(), row);
      }
    }
    sql().executeOrRollBack("COMMIT TRANSACTION;");
    const bool insertReleased = sql().check(sqlite3_finalize(insert.release()), SQLITE_OK);
    const bool updateReleased = sql().check(sqlite3_finalize(update.release()), SQLITE_OK);
    return insertReleased && updateReleased ? LMDB_SUCCESS : LMDB_FAILURE;
  } catch (...) {
    lmsupport::logLmdbCaught("Caught Exception");
    return LMDB_SUCCESS;
  }
}

template <typename T>
bool LMDatabase<T>::takeCachedRow(std::list<Row*>& taken) {
  std::lock_guard lock(this->mRowCacheLck);
  if (this->mRowCache.empty()) {
    return false;
  }
  taken.splice(taken.end(), this->mRowCache, this->mRowCache.begin());
  return true;
}

template <typename T>
void LMDatabase<T>::writeRow(sqlite3_stmt* statement, const Row& row) {
  static constexpr char kWriter[] = "writeCachedDRToDisk";
  if (row.intcol1 != kNoIntcol1) {
    sql().check(sqlite3_bind_int(statement, 1, row.intcol1), SQLITE_OK, kWriter);
  }
  if (!row.appName.empty()) {
    sql().check(sqlite3_bind_text(statement, 2, row.appName.c_str(), -1, SQLITE_STATIC), SQLITE_OK,
                kWriter);
  }
  if (!row.rsvdName.empty()) {
    sql().check(sqlite3_bind_text(statement, 3, row.rsvdName.c_str(), -1, SQLITE_STATIC), SQLITE_OK,
                kWriter);
  }
  sql().check(sqlite3_bind_blob(statement, 4, &row.payload, sizeof(T), SQLITE_STATIC), SQLITE_OK,
              kWriter);
  if (row.rowId != 0) {
    sql().check(sqlite3_bind_int(statement, 5, static_cast<int>(row.rowId)), SQLITE_OK, kWriter);
  }
  sql().check(sqlite3_step(statement), SQLITE_DONE, kWriter);
  sql().check(sqlite3_reset(statement), SQLITE_OK, kWriter);
}

template <typename T>
typename LMDatabase<T>::vecT LMDatabase<T>::readAllocateDR(LMDBDataRowKey& key, unsigned long,
                                                           lmdbOrderByCol, lmdbOrderByDir) {
  if (mDb == nullptr) {
    return {};
  }
  try {
    lmsupport::SqlStatement select =
        sql().prepare(queryFor("SELECT *, rowid FROM ", key), lmsupport::kSqlError);
    if (select == nullptr) {
      return {};
    }
    lmsupport::Owned<vecT> rows;
    for (int i = 0; i < kMaxRowsPerRead; ++i) {
      if (sqlite3_step(select.get()) != SQLITE_ROW) {
        sql().check(sqlite3_reset(select.get()), SQLITE_OK);
        break;
      }
      rows.push_back(nullptr);
      rows.back() = this->getRow();
      if (rows.back() == nullptr) {
        rows.pop_back();
        break;
      }
      fillRow(select.get(), *rows.back());
    }
    sql().check(sqlite3_finalize(select.release()), SQLITE_OK);
    vecT result;
    result.swap(rows);
    return result;
  } catch (...) {
    lmsupport::logLmdbCaught("Error in std::string operations");
    return {};
  }
}

template <typename T>
void LMDatabase<T>::fillRow(sqlite3_stmt* statement, Row& row) {
  const auto text = [statement](int column) {
    return reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
  };
  if (text(0) != nullptr) {
    row.intcol1 = sqlite3_column_int(statement, 0);
  }
  if (const char* const appName = text(1); appName != nullptr) {
    row.appName = appName;
  }
  if (const char* const rsvdName = text(2); rsvdName != nullptr) {
    row.rsvdName = rsvdName;
  }
  // A shorter blob, which this store never writes, is filled up with zeros.
  const void* const blob = sqlite3_column_blob(statement, 3);
  const auto stored = static_cast<unsigned long>(sqlite3_column_bytes(statement, 3));
  auto* const payload = reinterpret_cast<char*>(&row.payload);
  const std::size_t copied = LMDB_memscpy(payload, sizeof(T), blob, stored);
  std::memset(payload + copied, 0, sizeof(T) - copied);
  row.rowId = sqlite3_column_int64(statement, 4);
}

template <typename T>
int LMDatabase<T>::deleteAllDR(LMDBDataRowKey& key) {
  if (mDb == nullptr) {
    return 0;
  }
  try {
    lmsupport::SqlStatement statement =
        sql().prepare(queryFor("DELETE FROM ", key), lmsupport::kSqlError);
    if (statement == nullptr) {
      return -1;
    }
    const bool done = sql().check(sqlite3_step(statement.get()), SQLITE_DONE);
    const int deleted = done ? sqlite3_changes(mDb) : -1;
    sql().check(sqlite3_finalize(statement.release()), SQLITE_OK);
    return deleted;
  } catch (...) {
    lmsupport::logLmdbCaught("Error in std::string operations");
    return -1;
  }
}

template <typename T>
void LMDatabase<T>::build_query_for_where_clause(LMDBDataRowKey& key, std::string& query) {
  try {
    lmsupport::appendWhere(key, query);
  } catch (const std::exception& e) {
    LM_LOGE(lmsupport::kLmdb, "Caught exception: %s", e.what());
  } catch (...) {
    LM_LOGE(lmsupport::kLmdb, "Error in std::string operations");
  }
}

template <typename T>
std::size_t LMDatabase<T>::LMDB_memscpy(void* dst, unsigned long dstSize, const void* src,
                                        unsigned long srcSize) {
  const std::size_t size = std::min(dstSize, srcSize);
  if (size > 0) {
    std::memcpy(dst, src, size);
  }
  return size;
}

template <typename T>
std::string LMDatabase<T>::queryFor(const char* start, LMDBDataRowKey& key) const {
  std::string query = start + mTableName + " ";
  query.reserve(query.size() + sizeof("WHERE ("));  // its beginning is never lost
  build_query_for_where_clause(key, query);
  return query;
}

extern template class LMDatabase<_preKill_User_Launched_Data>;
extern template class LMDatabase<_preKill_Favorite_Time_Slot_Data>;
