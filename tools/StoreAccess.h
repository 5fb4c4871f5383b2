#pragma once

#include <unistd.h>

#include <memory>
#include <stdexcept>
#include <string>

#include "DbCommands.h"
#include "Payloads.h"
#include "RowReader.h"

/** Opens the store of options and returns operation(store). */
template <typename T, typename Operation>
int withStoreOf(const DbOptions& options, Operation operation) {
  LMDatabase<T> store(options.table, "", options.file);
  if (store.LMDatabaseInit() != LMDB_SUCCESS) {
    throw std::runtime_error("cannot open " + options.file + " with a table " + options.table +
                             "; see the log for why");
  }
  return operation(store);
}

/** Does so with the payload of options. Throws std::runtime_error when it cannot be opened. */
template <typename Operation>
int withStore(const DbOptions& options, bool create, Operation operation) {
  if (!create && access(options.file.c_str(), R_OK) != 0) {
    throw std::runtime_error("cannot read " + options.file + "; name a database file");
  }
  return options.slots ? withStoreOf<SlotPayload>(options, operation)
                       : withStoreOf<LaunchPayload>(options, operation);
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
