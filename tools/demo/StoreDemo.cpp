#include <algorithm>
#include <ostream>
#include <stdexcept>

#include "ConfigOverrides.h"
#include "LMDatabase.h"
#include "Output.h"
#include "config/DynamicLoader.h"
#include "db/Db.h"
#include "demo/Steps.h"
#include "testing/TemporaryFolder.h"
#include "watch/Summary.h"

namespace {

using Store = LMDatabase<_preKill_User_Launched_Data>;
using OwnedRows = lmsupport::Owned<Store::vecT>;

constexpr int kRows = 10000;

void cacheNewRows(Store& store) {
  for (int i = 0; i < kRows; ++i) {
    std::unique_ptr<Store::Row> row(store.getRow());
    row->appName = "com.example.app" + std::to_string(i);
    row->payload.launchCount = i;
    store.cacheRow(std::move(row));
  }
}

}  // namespace

StepResult demonstrateStore(DemoScene& scene) {
  const TemporaryFolder folder;
  Store store("launches", folder.path() + "/", "launches.db");
  if (store.LMDatabaseInit() != LMDB_SUCCESS) {
    throw std::runtime_error("cannot open a database in " + folder.path());
  }
  cacheNewRows(store);
  const auto begin = Clock::now();
  store.LMDatabaseWriteCachedToDisk();
  const std::string written = fixed(toUs(Clock::now() - begin) / 1000, 1) + " ms";

  LMDBDataRowKey all;
  const OwnedRows rows(store.readAllocateDR(all, kRows, LMDB_COL_ROWID, LMDB_ASCENDING));
  const auto isGood = [](const Store::Row* row) {
    return row->appName == "com.example.app" + std::to_string(row->payload.launchCount);
  };
  const auto good = std::count_if(rows.begin(), rows.end(), isGood);
  scene.console.out << "written    " << kRows << " rows in " << written << ", one transaction\n"
                    << "read back  " << good << " rows\n";
  return {std::to_string(kRows) + " rows written in " + written + ", one transaction",
          outcomeOf(good == kRows)};
}

StepResult demonstrateFavourites(DemoScene& scene) {
  const std::string text = "com.mail/com.chat/=com.game/com.chat/=com.mail/com.maps/";
  overrideText(kPreferredAppsKey, text);
  const auto tables = computeFavourites({{"com.mail", 41}, {"com.chat", 17}});
  const auto& slots = tables["time_slots"];
  const auto& apps = tables["favourite_launches"];
  scene.watched.favourites = slots;
  scene.console.out << "text       " << text << "\n\n";
  printTable(slots, scene.console.out);
  return {std::to_string(slots.size()) + " time slots and " + std::to_string(apps.size()) +
              " applications from one text",
          outcomeOf(slots.size() == 3 && apps.size() == 4)};
}
