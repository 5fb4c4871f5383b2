#pragma once

#include <optional>
#include <string>

#include "Console.h"

struct FavouritesOptions {
  std::string folder;               ///< holds the three databases
  std::optional<std::string> text;  ///< instead of the configured one
  bool json = false;
};

/** Rebuilds the two tables of favourites in a folder's databases and prints them. */
int rebuildFavourites(const FavouritesOptions& options, Console& console);

/** Does so for sample data in a folder of its own, which it removes again. */
int demonstrateFavourites(Console& console);
