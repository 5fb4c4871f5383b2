#include <memory>
#include <nlohmann/json.hpp>
#include <ostream>
#include <sstream>
#include <stdexcept>

#include "ConfigOverrides.h"
#include "FetchPreferredApps.h"
#include "NodeChecks.h"
#include "Output.h"
#include "config/DynamicLoader.h"
#include "db/Database.h"
#include "db/Db.h"

using nlohmann::ordered_json;

namespace {

using LaunchStore = FetchPreferredApps::LaunchStore;
using SlotStore = FetchPreferredApps::SlotStore;

constexpr char kFavouritesTable[] = "favourite_launches";
constexpr char kSlotsTable[] = "time_slots";

/** Opens a table's store, in a file of its name below folder, or in memory without a folder. */
template <typename Store>
std::unique_ptr<Store> openStore(const char* table, const std::string& folder) {
  const std::string name = folder.empty() ? "" : table + std::string(".db");
  const std::string file = folder + name;
  if (!file.empty()) {
    Database::requireWritable(file);
  }
  auto store = std::make_unique<Store>(table, folder, name);
  if (store->LMDatabaseInit() != LMDB_SUCCESS) {
    throw std::runtime_error(file + ": the store cannot be opened; see the log");
  }
  return store;
}

ordered_json populate(const std::string& folder,
                      const std::vector<std::pair<std::string, int>>& launches = {}) {
  const auto favourites = openStore<LaunchStore>(kFavouritesTable, folder);
  const auto history = openStore<LaunchStore>("launch_history", folder);
  const auto slots = openStore<SlotStore>(kSlotsTable, folder);
  for (const auto& [app, count] : launches) {
    const LaunchStore::Row row = {0, kNoIntcol1, app, "", {count}};
    history->cacheRow(std::make_unique<LaunchStore::Row>(row));
  }
  history->LMDatabaseWriteCachedToDisk();
  FetchPreferredApps().populateFavoriteApps(favourites.get(), history.get(), slots.get());

  // A count of -1 is unknown.
  return {{kSlotsTable,
           queryRows(slots->mDb,
                     "SELECT appName AS slot, blob AS apps FROM time_slots ORDER BY rowid")},
          {kFavouritesTable, queryRows(favourites->mDb,
                                       "SELECT appName AS app, nullif(blob, x'ffffffff') AS "
                                       "launches FROM favourite_launches ORDER BY rowid")}};
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

int rebuildFavourites(const DbOptions& options, Console& console) {
  const std::optional<std::string> text =
      options.from.empty() ? options.value : readText(options.from);
  if (text) {
    overrideText(kPreferredAppsKey, *text);
  } else if (FetchPreferredApps().getWeekTimePreferredApps().empty()) {
    throw std::runtime_error("no text of key " + std::to_string(kPreferredAppsKey) +
                             "; give --text or --text-file");
  }
  noteCuts(text ? text->size() : 0, console);
  const ordered_json tables = populate(options.file + "/");
  if (options.json) {
    printJson(tables, console.out);
    return kSuccess;
  }
  for (const auto& [name, rows] : tables.items()) {
    console.out << (name == kSlotsTable ? "" : "\n") << name << "\n";
    printTable(rows, console.out);
  }
  return kSuccess;
}

ordered_json computeFavourites(const std::vector<std::pair<std::string, int>>& launches) {
  return populate("", launches);
}
