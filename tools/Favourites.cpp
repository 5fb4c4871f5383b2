#include "Favourites.h"

#include <CLI/CLI.hpp>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <ostream>
#include <stdexcept>

#include "CommandLine.h"
#include "ConfigOverrides.h"
#include "FetchPreferredApps.h"
#include "Rows.h"

namespace {

struct FavouritesOptions {
  std::string folder;               ///< holds the three databases
  std::optional<std::string> text;  ///< instead of the configured one
  bool json = false;
};

constexpr char kFavouritesTable[] = "favourite_launches";
constexpr char kHistoryTable[] = "launch_history";
constexpr char kSlotsTable[] = "time_slots";

std::string fileOf(const std::string& table) { return table + ".db"; }

template <typename Store>
void open(Store& store) {
  if (store.LMDatabaseInit() != LMDB_SUCCESS) {
    throw std::runtime_error(store.mDbDirectory + store.mDbFileName +
                             ": cannot be opened; name a folder that can be written with --dir");
  }
}

/** Rebuilds the two tables of favourites in a folder's databases and prints them. */
int rebuildFavourites(const FavouritesOptions& options, Console& console) {
  ConfigOverrides overrides;
  if (options.text) {
    overrides.setText(kPreferredAppsKey, *options.text);
  } else if (FetchPreferredApps().getWeekTimePreferredApps().empty()) {
    throw std::runtime_error("no text of key " + std::to_string(kPreferredAppsKey) +
                             "; give --text or --text-file");
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

}  // namespace

void addFavourites(CLI::App& app, Console& console, int& status) {
  CLI::App* const favourites =
      app.add_subcommand("favourites", "Work with the favourite applications.");
  favourites->require_subcommand(1);
  CLI::App* const rebuild = favourites->add_subcommand(
      "rebuild", "Rebuild the tables of favourites from their text, and print them.");
  const auto options = std::make_shared<FavouritesOptions>();
  rebuild->add_option("--dir", options->folder, "Folder of the three databases")
      ->type_name("DIR")
      ->required()
      ->check(notEmpty());
  CLI::Option* const text =
      rebuild->add_option("--text", options->text, "Text, instead of the configured one");
  const auto file = std::make_shared<std::string>();
  rebuild->add_option("--text-file", *file, "File with the text")
      ->type_name("FILE")
      ->check(notEmpty())
      ->excludes(text);
  addJson(*rebuild, options->json,
          "an object {time_slots, favourite_launches} of the tables' rows, as db dump prints them");
  rebuild->callback([=, &console, &status] {
    if (!file->empty()) {
      if (const std::string problem = accessProblem(*file, R_OK); !problem.empty()) {
        throw std::runtime_error(problem + "; name a file with the text");
      }
      std::ifstream stream(*file);
      options->text = std::string(std::istreambuf_iterator<char>(stream), {});
    }
    status = rebuildFavourites(*options, console);
  });
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
