#include "Favourites.h"

#include <ostream>
#include <stdexcept>

#include "ConfigOverrides.h"
#include "FetchPreferredApps.h"
#include "Rows.h"

namespace {

constexpr char kFavouritesTable[] = "favourite_launches";
constexpr char kHistoryTable[] = "launch_history";
constexpr char kSlotsTable[] = "time_slots";

std::string fileOf(const std::string& table) { return table + ".db"; }

template <typename Store>
void open(Store& store) {
  if (store.LMDatabaseInit() != LMDB_SUCCESS) {
    throw std::runtime_error("cannot open " + store.mDbDirectory + store.mDbFileName +
                             "; name a folder that can be written with --dir");
  }
}

}  // namespace

int rebuildFavourites(const FavouritesOptions& options, Console& console) {
  ConfigOverrides overrides;
  if (options.text) {
    overrides.setText(kPreferredAppsKey, *options.text);
  }
  const std::string folder = options.folder + "/";
  FetchPreferredApps::LaunchStore favourites(kFavouritesTable, folder, fileOf(kFavouritesTable));
  FetchPreferredApps::LaunchStore history(kHistoryTable, folder, fileOf(kHistoryTable));
  FetchPreferredApps::SlotStore slots(kSlotsTable, folder, fileOf(kSlotsTable));
  open(favourites);
  open(history);
  open(slots);
  FetchPreferredApps().populateFavoriteApps(&favourites, &history, &slots);

  const Rows slotRows = readRows(slots);
  const Rows favouriteRows = readRows(favourites);
  if (options.json) {
    printJson({{kSlotsTable, slotRows}, {kFavouritesTable, favouriteRows}}, console.out);
    return kSuccess;
  }
  console.out << kSlotsTable << "\n";
  printTable(slotRows, console.out);
  console.out << "\n" << kFavouritesTable << "\n";
  printTable(favouriteRows, console.out);
  return kSuccess;
}

FavouriteTables computeFavourites(const std::vector<std::pair<std::string, int>>& launches) {
  FetchPreferredApps::LaunchStore favourites(kFavouritesTable, "", "");
  FetchPreferredApps::LaunchStore history(kHistoryTable, "", "");
  FetchPreferredApps::SlotStore slots(kSlotsTable, "", "");
  open(favourites);
  open(history);
  open(slots);
  for (const auto& [app, count] : launches) {
    if (auto* const row = history.getRow()) {
      row->appName = app;
      row->payload.launchCount = count;
      std::lock_guard lock(history.mRowCacheLck);
      history.mRowCache.push_back(row);
    }
  }
  history.LMDatabaseWriteCachedToDisk();
  FetchPreferredApps().populateFavoriteApps(&favourites, &history, &slots);
  return {readRows(slots), readRows(favourites)};
}
