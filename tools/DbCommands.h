#pragma once

#include <string>

#include "Console.h"
#include "LMDatabase.h"

namespace CLI {
class App;
}

/** Adds the commands for a row store's file; the one that is named leaves its status. */
void addDb(CLI::App& app, Console& console, int& status);

struct DbOptions {
  std::string file;
  std::string table;
  bool slots = false;  ///< the payload is a slot's text, not a launch count
  bool json = false;
  LMDBDataRowKey key{};
  std::string value{};  ///< put: the payload, a whole number or a text
  std::string from{};   ///< put: a file with rows instead; "-" for standard input
  bool update = false;  ///< put: rows with a rowid replace the one that has it
};

/** Why text cannot be a table's name in SQL that quotes nothing, or nothing. */
std::string tableNameProblem(const std::string& text);

/** Why text cannot be part of a key, whose texts are not escaped, or nothing. */
std::string keyTextProblem(const std::string& text);

/** Prints the rows that match the key. Throws std::runtime_error when a read ends before the last. */
int dbDump(const DbOptions& options, Console& console);

/** Adds one row, with the key's fields and the value, or several. Creates the file when there is none. */
int dbPut(const DbOptions& options, Console& console);

/**
 * Puts the rows that RowReader reads from options.from into the store, a batch in a transaction. All
 * of them are checked before the first is written, and before the file is created. A signal ends it
 * after a batch. Throws std::runtime_error when not all were written.
 *
 * Rows of a batch that set different fields may change places.
 */
int dbPutRows(const DbOptions& options, Console& console);

/** Deletes the rows that match the key and prints how many. */
int dbDelete(const DbOptions& options, Console& console);
