#include "Favourites.h"

#include <cstdlib>
#include <filesystem>
#include <ostream>
#include <stdexcept>

#include "ConfigOverrides.h"
#include "DbCommands.h"
#include "FetchPreferredApps.h"
#include "Rows.h"
#include "TemporaryFolder.h"

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

int demonstrateFavourites(Console& console) {
  const TemporaryFolder temporary;
  const std::string& folder = temporary.path();
  for (const auto& [app, launches] : {std::pair{"com.mail", "41"}, {"com.chat", "17"}}) {
    DbOptions put = {.file = folder + "/" + fileOf(kHistoryTable), .table = kHistoryTable};
    put.key.appName = app;
    put.value = launches;
    dbPut(put, console);
  }
  const FavouritesOptions options = {
      .folder = folder, .text = "com.mail/com.chat/=com.game/com.chat/=com.mail/com.maps/"};
  console.out << "Favourite applications, rebuilt from '" << *options.text << "'\n";
  return rebuildFavourites(options, console);
}
