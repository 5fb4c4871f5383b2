#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Console.h"

struct FavouritesOptions {
  std::string folder;               ///< holds the three databases
  std::optional<std::string> text;  ///< instead of the configured one
  std::string textFile;             ///< the same, from a file
  bool json = false;
};

/** Rebuilds the two tables of favourites in a folder's databases and prints them. */
int rebuildFavourites(const FavouritesOptions& options, Console& console);

/**
 * Computes the tables for the configured text in memory, from launch counts by application: an object
 * {time_slots, favourite_launches} of rows {slot, apps} and {app, launches}.
 */
nlohmann::ordered_json computeFavourites(const std::vector<std::pair<std::string, int>>& launches);
