#pragma once

#include <sqlite3.h>

#include <cstddef>
#include <list>
#include <string>
#include <utility>

#include "LMDBDataTable.h"
#include "detail/LMAttributes.h"
#include "detail/LMDBSql.h"

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
 * - A key's texts go into the SQL text between single quotes as they are. What follows a quote in them
 *   is SQL, which is for the caller to keep out.
 * - A row with an empty text, or intcol1 without a value, is written with the value of the row
 *   before it in the same call and of the same kind (new or existing), since that stays bound.
 * - A write keeps the cache when a statement cannot be prepared, and returns -1, or when memory for
 *   the statements' texts is short, and returns 0. Otherwise every row leaves the cache and is
 *   deleted, written or not, and the result tells only of the statements' release. Without a
 *   transaction (BEGIN failed) the rows are written one by one.
 * - Of a row id only the low 32 bits are bound, as a signed number. A row with an id above 2147483647
 *   does not fail: it overwrites the row with the id that those bits make, or none.
 * - A read returns at most 10000 rows, in SQLite's order; limit and order are ignored. A look-up by
 *   key reads the whole table, as there is no index: its cost grows with the number of rows.
 * - A second openLMdb() loses the first connection, which then nobody closes.
 * - closeLMdb() keeps the handle: a store closed by hand must neither be used nor destroyed.
 *
 * This header needs exceptions: clients compile with -fexceptions.
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

  /** Opens the store: calls openLMdb(). */
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

  /** Writes all cached rows: calls writeCachedDRToDisk(). */
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

  /**
   * Appends the WHERE clause for key to query; nothing for a key with no field set.
   *
   * Note: when memory is short, that is logged and query keeps what was appended so far, which may be
   * nothing at all. Sent to SQLite, a text without a clause addresses the whole table: reserve room
   * for 8 characters first, and what is cut short is not valid SQL.
   */
  static void build_query_for_where_clause(LMDBDataRowKey& key, std::string& query);

  /** Copies min(dstSize, srcSize) bytes and returns how many. */
  static std::size_t LMDB_memscpy(void* dst, unsigned long dstSize, const void* src,
                                  unsigned long srcSize);

  sqlite3* mDb = nullptr;    ///< null until the store is open
  std::string mDbDirectory;  ///< ends with "/"
  std::string mDbFileName;   ///< empty for a store in memory
};

template <typename T>
LMDatabase<T>::~LMDatabase() {
  writeCachedDRToDisk();
  closeLMdb();
}

template <typename T>
lmdbError LMDatabase<T>::openLMdb() {
  namespace detail = lmsupport::detail;
  const detail::SqlCalls sql(mDb, mTableName);
  return lmsupport::guard(detail::kLmdb, detail::kLmdbWording, LMDB_FAILURE, [&] {
    const std::string file = detail::pathOf(mDbDirectory, mDbFileName);
    const int code =
        sqlite3_open_v2(file.c_str(), &mDb, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
    if (code != SQLITE_OK) {
      sql.logFileFailure("open", file, code);
      closeLMdb();
      mDb = nullptr;
      return LMDB_FAILURE;
    }
    if (!mDbFileName.empty()) {
      sql.execute("PRAGMA journal_mode=WAL", detail::kSqlError, file);
    }
    return detail::createLMdbTables(mDb, mTableName);
  });
}

template <typename T>
lmdbError LMDatabase<T>::closeLMdb() {
  namespace detail = lmsupport::detail;
  if (mDb == nullptr) {
    return LMDB_SUCCESS;
  }
  const int code = sqlite3_close(mDb);
  if (code == SQLITE_OK) {
    return LMDB_SUCCESS;
  }
  const detail::SqlCalls sql(mDb, mTableName);
  return lmsupport::guard(detail::kLmdb, detail::kLmdbWording, LMDB_FAILURE, [&] {
    sql.logFileFailure("close", detail::pathOf(mDbDirectory, mDbFileName), code);
    return LMDB_FAILURE;
  });
}

template <typename T>
lmdbError LMDatabase<T>::writeCachedDRToDisk() {
  namespace detail = lmsupport::detail;
  if (mDb == nullptr) {
    return LMDB_SUCCESS;
  }
  const detail::SqlCalls sql(mDb, mTableName);
  return lmsupport::guard(detail::kLmdb, detail::kLmdbWording, LMDB_SUCCESS, [&] {
    detail::SqlStatement insert = sql.prepare(
        "INSERT INTO " + mTableName + "(intcol1, appName, rsvdName, blob) VALUES (?,?,?,?)",
        detail::kError);
    if (insert == nullptr) {
      return LMDB_FAILURE;
    }
    detail::SqlStatement update =
        sql.prepare("UPDATE " + mTableName +
                        " SET (intcol1, appName, rsvdName, blob) = (?,?,?,?) WHERE (rowid) = (?)",
                    detail::kError);
    if (update == nullptr) {
      return LMDB_FAILURE;
    }
    sql.executeOrRollBack("BEGIN IMMEDIATE TRANSACTION;");
    {
      lmsupport::Owned<std::list<Row*>> taken;  // the statements point into the rows
      while (detail::takeCachedRow(*this, taken)) {
        const Row& row = *taken.back();
        detail::writeRow(sql, row.rowId != 0 ? update.get() : insert.get(), row);
      }
    }
    sql.executeOrRollBack("COMMIT TRANSACTION;");
    const bool insertReleased = sql.finalize(insert);
    const bool updateReleased = sql.finalize(update);
    return insertReleased && updateReleased ? LMDB_SUCCESS : LMDB_FAILURE;
  });
}

template <typename T>
typename LMDatabase<T>::vecT LMDatabase<T>::readAllocateDR(LMDBDataRowKey& key, unsigned long,
                                                           lmdbOrderByCol, lmdbOrderByDir) {
  namespace detail = lmsupport::detail;
  if (mDb == nullptr) {
    return {};
  }
  const detail::SqlCalls sql(mDb, mTableName);
  return lmsupport::guard(detail::kLmdb, detail::kLmdbQueryWording, vecT(), [&] {
    detail::SqlStatement select =
        sql.prepare(detail::queryFor("SELECT *, rowid FROM ", mTableName, key), detail::kSqlError);
    if (select == nullptr) {
      return vecT();
    }
    lmsupport::Owned<vecT> rows;
    for (int i = 0; i < kMaxRowsPerRead; ++i) {
      if (sqlite3_step(select.get()) != SQLITE_ROW) {
        sql.check(sqlite3_reset(select.get()), SQLITE_OK);
        break;
      }
      rows.push_back(nullptr);
      rows.back() = this->getRow();
      if (rows.back() == nullptr) {
        rows.pop_back();
        break;
      }
      detail::fillRow(select.get(), *rows.back());
    }
    sql.finalize(select);
    vecT result;
    result.swap(rows);
    return result;
  });
}

template <typename T>
int LMDatabase<T>::deleteAllDR(LMDBDataRowKey& key) {
  namespace detail = lmsupport::detail;
  if (mDb == nullptr) {
    return 0;
  }
  const detail::SqlCalls sql(mDb, mTableName);
  return lmsupport::guard(detail::kLmdb, detail::kLmdbQueryWording, -1, [&] {
    detail::SqlStatement statement =
        sql.prepare(detail::queryFor("DELETE FROM ", mTableName, key), detail::kSqlError);
    if (statement == nullptr) {
      return -1;
    }
    const bool done = sql.check(sqlite3_step(statement.get()), SQLITE_DONE);
    const int deleted = done ? sqlite3_changes(mDb) : -1;
    sql.finalize(statement);
    return deleted;
  });
}

template <typename T>
void LMDatabase<T>::build_query_for_where_clause(LMDBDataRowKey& key, std::string& query) {
  lmsupport::detail::build_query_for_where_clause(key, query);
}

template <typename T>
std::size_t LMDatabase<T>::LMDB_memscpy(void* dst, unsigned long dstSize, const void* src,
                                        unsigned long srcSize) {
  return lmsupport::detail::copyBounded(dst, dstSize, src, srcSize);
}

extern template class LMDatabase<_preKill_User_Launched_Data>;
extern template class LMDatabase<_preKill_Favorite_Time_Slot_Data>;
