// Rebuilds the tables of favourite applications from the framework's text.

#include <FetchPreferredApps.h>
#include <HostCore.h>

#include <cstdio>
#include <map>
#include <memory>
#include <utility>

int main() {
  // A device's core library has the text: entries for week_day_1, week_end_1, week_day_2, ...
  hostcore::setText(5638, "com.mail/com.chat/=com.game/com.chat/=com.mail/com.maps/");

  FetchPreferredApps::LaunchStore history("launch_history", "", "");  // all three in memory
  FetchPreferredApps::LaunchStore favourites("favourite_launches", "", "");
  FetchPreferredApps::SlotStore slots("time_slots", "", "");
  if (history.LMDatabaseInit() != LMDB_SUCCESS || favourites.LMDatabaseInit() != LMDB_SUCCESS ||
      slots.LMDatabaseInit() != LMDB_SUCCESS) {
    return 1;
  }
  if (std::unique_ptr<FetchPreferredApps::LaunchStore::Row> row(history.getRow()); row != nullptr) {
    row->appName = "com.mail";
    row->payload.launchCount = 41;
    history.cacheRow(std::move(row));
  }
  history.LMDatabaseWriteCachedToDisk();

  FetchPreferredApps().populateFavoriteApps(&favourites, &history, &slots);  // logs what fails

  LMDBDataRowKey everything;
  for (auto* row : slots.readAllocateDR(everything, 0, LMDB_COL_ROWID, LMDB_ASCENDING)) {
    std::printf("%s: %s\n", row->appName.c_str(), row->payload.slotText);
    delete row;
  }
  std::map<std::string, int> counts;  // the applications come in no order
  for (auto* row : favourites.readAllocateDR(everything, 0, LMDB_COL_ROWID, LMDB_ASCENDING)) {
    counts[row->appName] = row->payload.launchCount;
    delete row;
  }
  for (const auto& [app, count] : counts) std::printf("%s: %d\n", app.c_str(), count);
}
