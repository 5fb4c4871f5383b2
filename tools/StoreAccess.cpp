#include "StoreAccess.h"

#include <strings.h>

#include <algorithm>
#include <vector>

#include "CommandTree.h"
#include "ConfigOverrides.h"

namespace {

/** The first column of what a query finds. Throws std::runtime_error when SQLite refuses it. */
std::vector<std::string> firstColumn(sqlite3* db, const std::string& query) {
  std::vector<std::string> values;
  const auto add = [](void* found, int, char** columns, char**) {
    static_cast<std::vector<std::string>*>(found)->emplace_back(columns[0]);
    return 0;
  };
  if (sqlite3_exec(db, query.c_str(), add, &values, nullptr) != SQLITE_OK) {
    throw std::runtime_error(std::string(sqlite3_errmsg(db)) +
                             "; name a row store's file and table");
  }
  return values;
}

}  // namespace

void requireTable(const DbOptions& options) {
  if (const std::string problem = accessProblem(options.file, R_OK); !problem.empty()) {
    throw std::runtime_error(problem + "; name a database file");
  }
  sqlite3* opened = nullptr;
  sqlite3_open_v2(options.file.c_str(), &opened, SQLITE_OPEN_READWRITE, nullptr);
  const std::unique_ptr<sqlite3, decltype(&sqlite3_close)> db(opened, sqlite3_close);
  const auto tables = firstColumn(db.get(), "SELECT name FROM sqlite_master WHERE type = 'table'");
  const auto isNamed = [&](const std::string& table) {
    return strcasecmp(table.c_str(), options.table.c_str()) == 0;
  };
  if (std::none_of(tables.begin(), tables.end(), isNamed)) {
    throw std::runtime_error(options.file + " has no table " + options.table + "; it has " +
                             (tables.empty() ? "none" : join(tables, ", ")));
  }
}

void requirePayload(sqlite3* db, const DbOptions& options) {
  const auto lengths =
      firstColumn(db, "SELECT length(blob) FROM " + options.table + " WHERE blob NOT NULL LIMIT 1");
  const std::size_t expected = options.slots ? sizeof(SlotPayload) : sizeof(LaunchPayload);
  if (!lengths.empty() && std::stoull(lengths[0]) != expected) {
    const char* const hint = lengths[0] == std::to_string(sizeof(SlotPayload)) ? "give --slots"
                             : options.slots                                   ? "leave out --slots"
                                             : "name a table of launch counts or slots";
    throw std::runtime_error("a payload of " + options.table + " has " + lengths[0] +
                             " bytes, not " + std::to_string(expected) + "; " + hint);
  }
}

std::size_t countRows(sqlite3* db, const std::string& table, const std::string& where) {
  return std::stoull(firstColumn(db, "SELECT count(*) FROM " + table + " " + where).at(0));
}
