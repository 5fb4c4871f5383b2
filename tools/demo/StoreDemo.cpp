#include <iomanip>
#include <ostream>
#include <sstream>

#include "LMDatabase.h"
#include "demo/Steps.h"
#include "testing/Clock.h"
#include "testing/TemporaryFolder.h"

namespace {

using Store = LMDatabase<_preKill_User_Launched_Data>;
using OwnedRows = lmsupport::Owned<Store::vecT>;

constexpr int kRows = 10000;

void cache(Store& store, Store::Row* row) {
  std::lock_guard lock(store.mRowCacheLck);
  store.mRowCache.push_back(row);
}

void cacheNewRows(Store& store) {
  for (int i = 0; i < kRows; ++i) {
    if (Store::Row* const row = store.getRow()) {
      row->appName = "com.example.app" + std::to_string(i);
      row->payload.launchCount = i;
      cache(store, row);
    }
  }
}

OwnedRows read(Store& store, LMDBDataRowKey key = {}) {
  return OwnedRows(store.readAllocateDR(key, kRows, LMDB_COL_ROWID, LMDB_ASCENDING));
}

/** Raises all launch counts; rows that were read have an identifier and are updated. */
void cacheUpdates(Store& store) {
  OwnedRows rows = read(store);
  for (Store::Row*& row : rows) {
    ++row->payload.launchCount;
    cache(store, std::exchange(row, nullptr));
  }
}

/** Prints what operation took, with a note. */
template <typename Operation>
std::string timed(const char* name, int rows, const char* note, Operation operation,
                  std::ostream& out) {
  const auto begin = Clock::now();
  operation();
  const std::chrono::duration<double, std::milli> duration = Clock::now() - begin;
  std::ostringstream ms;
  ms << std::fixed << std::setprecision(1) << duration.count() << " ms";
  out << std::left << std::setw(11) << name << std::right << std::setw(5) << rows << " rows  "
      << std::setw(9) << ms.str() << "   " << note << "\n";
  return ms.str();
}

}  // namespace

StepResult demonstrateStore(DemoScene& scene) {
  std::ostream& out = scene.console.out;
  const TemporaryFolder folder;
  Store store("launches", folder.path() + "/", "launches.db");
  if (store.LMDatabaseInit() != LMDB_SUCCESS) {
    throw std::runtime_error("cannot open a database in " + folder.path());
  }
  const auto flush = [&] { store.LMDatabaseWriteCachedToDisk(); };
  cacheNewRows(store);
  const std::string written = timed("put", kRows, "one transaction", flush, out);
  std::size_t found = 0;
  timed(
      "read", kRows, "all, in the order of their identifiers", [&] { found = read(store).size(); },
      out);
  cacheUpdates(store);
  timed("update", kRows, "one transaction", flush, out);
  LMDBDataRowKey key;
  key.appName = "com.example.app4711";
  int launches = 0;
  timed(
      "find", 1, "by name, without an index",
      [&] {
        const OwnedRows rows = read(store, key);
        launches = rows.size() == 1 ? rows.front()->payload.launchCount : -1;
      },
      out);
  const bool good = found == kRows && launches == 4711 + 1;
  return {"10000 rows written in " + written + ", one transaction", outcomeOf(good)};
}
