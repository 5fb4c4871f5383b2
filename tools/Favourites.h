#pragma once

#include <string>
#include <utility>
#include <vector>

#include "Console.h"
#include "Rows.h"

namespace CLI {
class App;
}

/** Adds the commands for favourite applications; the one that is named leaves its status. */
void addFavourites(CLI::App& app, Console& console, int& status);

struct FavouriteTables {
  Rows slots;
  Rows favourites;
};

/** Computes the tables for the configured text in memory, from launch counts by application. */
FavouriteTables computeFavourites(const std::vector<std::pair<std::string, int>>& launches);
