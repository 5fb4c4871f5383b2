#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include "LMDatabase.h"
#include "testing/LogCapture.h"
#include "testing/SqliteHooks.h"
#include "testing/TemporaryFolder.h"

using LaunchStore = LMDatabase<_preKill_User_Launched_Data>;
using SlotStore = LMDatabase<_preKill_Favorite_Time_Slot_Data>;

/** A directory for stores, and plain ways to fill and read them. */
class StoreFixture : public testing::Test {
 protected:
  StoreFixture() { gSql.clear(); }

  template <typename T>
  static void add(LMDatabase<T>& store, const LMDBDataRow<T>& row) {
    EXPECT_EQ(store.cacheRow(std::make_unique<LMDBDataRow<T>>(row)), LMDB_SUCCESS);
  }

  /** The rows as "rowid intcol1 appName rsvdName payload". */
  static std::vector<std::string> read(LaunchStore& store, LMDBDataRowKey key = {}) {
    std::vector<std::string> rows;
    for (const auto* const row : lmsupport::Owned<LaunchStore::vecT>(
             store.readAllocateDR(key, 0, LMDB_COL_APPNAME, LMDB_DESCENDING))) {
      rows.push_back(std::to_string(row->rowId) + " " + std::to_string(row->intcol1) + " " +
                     row->appName + " " + row->rsvdName + " " +
                     std::to_string(row->payload.launchCount));
    }
    return rows;
  }

  /** What plain SQLite says of store.db: rows of columns, "-" for null, with a "|" after each. */
  std::vector<std::string> query(const char* sql) const {
    std::vector<std::string> rows;
    sqlite3* db = nullptr;
    sqlite3_open((mDirectory + "store.db").c_str(), &db);
    const auto addRow = [](void* all, int columns, char** texts, char**) {
      auto& row = static_cast<std::vector<std::string>*>(all)->emplace_back();
      for (int i = 0; i < columns; ++i) {
        row += (texts[i] != nullptr ? texts[i] : "-") + std::string("|");
      }
      return 0;
    };
    EXPECT_EQ(sqlite3_exec(db, sql, addRow, &rows, nullptr), SQLITE_OK) << sqlite3_errmsg(db);
    sqlite3_close(db);
    return rows;
  }

  const TemporaryFolder mFolder;
  const std::string mDirectory = mFolder.path() + "/";
  const LogCapture mLog;
};
