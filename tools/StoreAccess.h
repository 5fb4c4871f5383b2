#pragma once

#include <memory>
#include <stdexcept>
#include <string>

#include "DbCommands.h"
#include "Payloads.h"
#include "RowReader.h"

/**
 * Throws std::runtime_error unless the file of options is a database that has its table. Creates
 * neither, as opening a store would.
 */
void requireTable(const DbOptions& options);

/** Throws std::runtime_error when the table has payloads of another size than options tell of. */
void requirePayload(sqlite3* db, const DbOptions& options);

/** How many rows of a table a WHERE clause finds, or there are when it is empty. */
std::size_t countRows(sqlite3* db, const std::string& table, const std::string& where);

/**
 * Opens the store of options, making it when it is missing, and returns operation(store). Throws
 * std::runtime_error when it cannot be opened.
 */
template <typename T, typename Operation>
int withStoreOf(const DbOptions& options, Operation operation) {
  LMDatabase<T> store(options.table, "", options.file);
  if (store.LMDatabaseInit() != LMDB_SUCCESS) {
    throw std::runtime_error("cannot open " + options.file + " with a table " + options.table +
                             "; see the log for why");
  }
  return operation(store);
}

/** Does so with the payload of options, which the table must have. */
template <typename Operation>
int withStore(const DbOptions& options, Operation operation) {
  const auto checked = [&](auto& store) {
    requirePayload(store.mDb, options);
    return operation(store);
  };
  return options.slots ? withStoreOf<SlotPayload>(options, checked)
                       : withStoreOf<LaunchPayload>(options, checked);
}

/** Adds a row to the store's cache. */
template <typename T>
void cacheRow(LMDatabase<T>& store, const RowText& text) {
  auto row = std::make_unique<LMDBDataRow<T>>();
  row->rowId = text.rowId;
  row->intcol1 = text.intcol1;
  row->appName = text.appName;
  row->rsvdName = text.rsvdName;
  setPayload(row->payload, text.payload);
  std::lock_guard lock(store.mRowCacheLck);
  store.mRowCache.push_back(nullptr);  // may throw, while row is still owned
  store.mRowCache.back() = row.release();
}

/** Writes the store's cached rows; returns how many of them are in the table now. */
template <typename T>
int writeCached(LMDatabase<T>& store) {
  struct Changes {
    sqlite3* db;
    int before;
  } changes = {store.mDb, sqlite3_total_changes(store.mDb)};
  const auto forgetChanges = [](void* context) {
    auto* const self = static_cast<Changes*>(context);
    self->before = sqlite3_total_changes(self->db);
  };
  sqlite3_rollback_hook(store.mDb, forgetChanges, &changes);
  store.LMDatabaseWriteCachedToDisk();  // its result does not tell of the rows
  sqlite3_rollback_hook(store.mDb, nullptr, nullptr);
  return sqlite3_total_changes(store.mDb) - changes.before;
}
