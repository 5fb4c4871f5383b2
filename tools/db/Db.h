#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Console.h"
#include "LMDatabase.h"

/**
 * @file
 * Commands for row stores' files. Each throws std::runtime_error, with what SQLite or the system says,
 * when it could not do all of its work.
 */

struct DbOptions {
  std::string file;  ///< the database; favourites: the folder of three
  std::string table;
  LMDBDataRowKey key{};
  bool isSlot = false;                 ///< the key has a time slot's name, not an application's
  std::optional<std::string> value{};  ///< put: the payload; favourites: the text
  std::string from{};  ///< a file with rows or the text instead; "-": standard input
  bool all = false;    ///< delete: also without a key
  bool json = false;

  bool hasKey() const {
    return !key.appName.empty() || !key.rsvdName.empty() || key.intcol1 != kNoIntcol1;
  }
};

/** Prints the names of a file's tables, what is in them, and how many rows. */
int dbTables(const DbOptions& options, Console& console);

/** Prints the rows that match the key. Does not change the file. */
int dbDump(const DbOptions& options, Console& console);

/**
 * Adds one row, with the key's fields and the value, or those of a file, all of which are checked
 * before the first is written. Creates the database and the table when there are none.
 */
int dbPut(const DbOptions& options, Console& console);

/** Deletes the rows that match the key and prints how many. */
int dbDelete(const DbOptions& options, Console& console);

/** Prints to how many rows something was done. */
int printCount(const char* done, std::size_t count, const DbOptions& options, Console& console);

/** Rebuilds the two tables of favourites in a folder's databases and prints them. */
int rebuildFavourites(const DbOptions& options, Console& console);

/**
 * Computes the tables for the configured text in memory, from launch counts by application: an object
 * {time_slots, favourite_launches} of rows {slot, apps} and {app, launches}.
 */
nlohmann::ordered_json computeFavourites(const std::vector<std::pair<std::string, int>>& launches);
