#include "db/Favourites.h"

#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <ostream>
#include <sstream>
#include <stdexcept>

#include "ConfigOverrides.h"
#include "FetchPreferredApps.h"
#include "NodeChecks.h"
#include "Output.h"
#include "db/Database.h"

using nlohmann::ordered_json;

namespace {

constexpr char kFavouritesTable[] = "favourite_launches";
constexpr char kHistoryTable[] = "launch_history";
constexpr char kSlotsTable[] = "time_slots";
constexpr std::size_t kLongestSlot = 4095;
constexpr int kUnknownLaunches = -1;

/** The three stores of favourites; in memory without a folder. */
struct Stores {
  explicit Stores(const std::string& folder)
      : favourites(kFavouritesTable, folder, fileOf(folder, kFavouritesTable)),
        history(kHistoryTable, folder, fileOf(folder, kHistoryTable)),
        slots(kSlotsTable, folder, fileOf(folder, kSlotsTable)) {
    open(favourites);
    open(history);
    open(slots);
  }

  FavouriteTables populate() {
    FetchPreferredApps().populateFavoriteApps(&favourites, &history, &slots);
    FavouriteTables tables;
    for (const auto* const row : readAll(slots)) {
      const char* const apps = row->payload.slotText;
      tables.slots.push_back({row->appName, {apps, strnlen(apps, sizeof(row->payload.slotText))}});
    }
    for (const auto* const row : readAll(favourites)) {
      tables.apps.push_back({row->appName, row->payload.launchCount});
    }
    return tables;
  }

  FetchPreferredApps::LaunchStore favourites;
  FetchPreferredApps::LaunchStore history;
  FetchPreferredApps::SlotStore slots;

 private:
  static std::string fileOf(const std::string& folder, const char* table) {
    return folder.empty() ? "" : table + std::string(".db");
  }

  template <typename Store>
  static void open(Store& store) {
    const std::string file = store.mDbDirectory + store.mDbFileName;
    if (!file.empty()) {
      Database::requireWritable(file);
    }
    if (store.LMDatabaseInit() != LMDB_SUCCESS) {
      throw std::runtime_error(file + ": the store cannot be opened; see the log");
    }
  }

  template <typename Store>
  static lmsupport::Owned<typename Store::vecT> readAll(Store& store) {
    LMDBDataRowKey all;
    return lmsupport::Owned<typename Store::vecT>(
        store.readAllocateDR(all, kMaxRowsPerRead, LMDB_COL_ROWID, LMDB_ASCENDING));
  }
};

std::optional<std::string> givenText(const FavouritesOptions& options) {
  if (options.textFile.empty()) {
    return options.text;
  }
  requireReadable(options.textFile);
  std::ifstream file(options.textFile);
  return std::string(std::istreambuf_iterator<char>(file), {});
}

/** Notes what the library cuts off. */
void noteCuts(std::size_t given, Console& console) {
  const std::string text = FetchPreferredApps().getWeekTimePreferredApps();
  if (given > text.size() + 1) {  // a newline at its end goes, too
    console.beginNote() << "only the first " << text.size() << " bytes of the text are used\n";
  }
  std::istringstream entries(text);
  for (std::string entry; std::getline(entries, entry, '=');) {
    if (entry.size() > kLongestSlot) {
      console.beginNote() << "a slot's text of " << entry.size() << " bytes is cut to "
                          << kLongestSlot << "\n";
    }
  }
}

}  // namespace

int rebuildFavourites(const FavouritesOptions& options, Console& console) {
  ConfigOverrides overrides;
  const std::optional<std::string> text = givenText(options);
  if (text) {
    overrides.setText(kPreferredAppsKey, *text);
  } else if (FetchPreferredApps().getWeekTimePreferredApps().empty()) {
    throw std::runtime_error("no text of key " + std::to_string(kPreferredAppsKey) +
                             "; give --text or --text-file");
  }
  Stores stores(options.folder + "/");
  noteCuts(text ? text->size() : 0, console);
  const FavouriteTables tables = stores.populate();
  ordered_json slots = ordered_json::array();
  for (const auto& [slot, apps] : tables.slots) {
    slots.push_back({{"slot", slot}, {"apps", apps}});
  }
  ordered_json favourites = ordered_json::array();
  for (const auto& [app, launches] : tables.apps) {
    const bool isKnown = launches != kUnknownLaunches;
    favourites.push_back(
        {{"app", app}, {"launches", isKnown ? ordered_json(launches) : ordered_json()}});
  }
  if (options.json) {
    printJson({{kSlotsTable, slots}, {kFavouritesTable, favourites}}, console.out);
    return kSuccess;
  }
  console.out << kSlotsTable << "\n";
  printTable(slots, console.out);
  console.out << "\n" << kFavouritesTable << "\n";
  printTable(favourites, console.out);
  return kSuccess;
}

FavouriteTables computeFavourites(const std::vector<std::pair<std::string, int>>& launches) {
  Stores stores("");
  for (const auto& [app, count] : launches) {
    if (auto* const row = stores.history.getRow()) {
      row->appName = app;
      row->payload.launchCount = count;
      std::lock_guard lock(stores.history.mRowCacheLck);
      stores.history.mRowCache.push_back(row);
    }
  }
  stores.history.LMDatabaseWriteCachedToDisk();
  return stores.populate();
}
