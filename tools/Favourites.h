#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Console.h"
#include "Rows.h"

struct FavouritesOptions {
  std::string folder;               ///< holds the three databases
  std::optional<std::string> text;  ///< instead of the configured one
  bool json = false;
};

/** Rebuilds the two tables of favourites in a folder's databases and prints them. */
int rebuildFavourites(const FavouritesOptions& options, Console& console);

struct FavouriteTables {
  Rows slots;
  Rows favourites;
};

/** Computes the tables for the configured text in memory, from launch counts by application. */
FavouriteTables computeFavourites(const std::vector<std::pair<std::string, int>>& launches);
