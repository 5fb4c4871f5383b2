// Keeps rows in SQLite: with a payload that the library ships, and with one of the program's own.

#include <LMDatabase.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <utility>

/** Any trivially copyable type will do. It is stored as its bytes. */
struct Battery {
  float volts;
  int percent;
};

using LaunchStore = LMDatabase<_preKill_User_Launched_Data>;

template <typename T>
static void add(LMDatabase<T>& store, const char* name, const T& payload) {
  std::unique_ptr<LMDBDataRow<T>> row(store.getRow());
  if (row == nullptr) return;  // no memory, and logged
  row->appName = name;
  row->payload = payload;
  store.cacheRow(std::move(row));  // the store's from here on; any thread may call this
}

int main() {
  char folder[] = "/tmp/lmsupport-XXXXXX";
  if (mkdtemp(folder) == nullptr) return 1;
  LMDBDataRowKey mail;
  mail.appName = "com.mail";
  LMDBDataRowKey everything;
  {
    LaunchStore launches("launches", folder + std::string("/"), "lm.db");
    if (launches.LMDatabaseInit() != LMDB_SUCCESS) return 1;
    add(launches, "com.mail", {41});
    add(launches, "com.chat", {17});
    launches.LMDatabaseWriteCachedToDisk();
    for (auto* row : launches.readAllocateDR(mail, 0, LMDB_COL_ROWID, LMDB_ASCENDING)) {
      ++row->payload.launchCount;  // has a row id, so it replaces what is stored
      launches.cacheRow(std::unique_ptr<LaunchStore::Row>(row));
    }
    launches.LMDatabaseWriteCachedToDisk();
    for (auto* row : launches.readAllocateDR(everything, 0, LMDB_COL_ROWID, LMDB_ASCENDING)) {
      std::printf("%s: %d launches\n", row->appName.c_str(), row->payload.launchCount);
      delete row;  // a row that was read is the reader's
    }
    std::printf("deleted: %d\n", launches.deleteAllDR(mail));
  }  // destruction writes what is still cached, and closes

  LMDatabase<Battery> batteries("batteries", "", "");  // no file name: in memory
  if (batteries.LMDatabaseInit() != LMDB_SUCCESS) return 1;
  add(batteries, "main", {3.5F, 80});
  batteries.LMDatabaseWriteCachedToDisk();
  for (auto* row : batteries.readAllocateDR(everything, 0, LMDB_COL_ROWID, LMDB_ASCENDING)) {
    std::printf("%s: %.1f V, %d %%\n", row->appName.c_str(), row->payload.volts,
                row->payload.percent);
    delete row;
  }
  std::filesystem::remove_all(folder);
}
