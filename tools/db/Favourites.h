#pragma once

#include <cstdint>
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

struct FavouriteTables {
  struct Slot {
    std::string slot, apps;
  };
  struct App {
    std::string app;
    std::int32_t launches;
  };

  std::vector<Slot> slots;
  std::vector<App> apps;
};

/** Computes the tables for the configured text in memory, from launch counts by application. */
FavouriteTables computeFavourites(const std::vector<std::pair<std::string, int>>& launches);
