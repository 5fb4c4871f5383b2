#include "Favourites.h"

#include <cstdlib>
#include <filesystem>
#include <ostream>
#include <stdexcept>

#include "ConfigOverrides.h"
#include "DbCommands.h"
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

int demonstrateFavourites(Console& console) {
  std::string folder = std::filesystem::temp_directory_path() / "lmctl-XXXXXX";
  if (mkdtemp(folder.data()) == nullptr) {
    throw std::runtime_error("cannot make " + folder + "; set TMPDIR to a folder you can write");
  }
  for (const auto& [app, launches] : {std::pair{"com.mail", "41"}, {"com.chat", "17"}}) {
    DbOptions put = {.file = folder + "/" + fileOf(kHistoryTable), .table = kHistoryTable};
    put.key.appName = app;
    put.value = launches;
    dbPut(put, console);
  }
  const FavouritesOptions options = {
      .folder = folder, .text = "com.mail/com.chat/=com.game/com.chat/=com.mail/com.maps/"};
  console.out << "Favourite applications, rebuilt from '" << *options.text << "'\n";
  const int status = rebuildFavourites(options, console);
  std::filesystem::remove_all(folder);
  return status;
}
