#include <climits>
#include <cmath>
#include <fstream>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>
#include <stdexcept>

#include "NodeChecks.h"
#include "db/Database.h"
#include "db/Db.h"

using nlohmann::json;

namespace {

/** Rows that are to be put, objects as "lmctl db dump --json" prints them; all are of one kind. */
struct NewRows {
  const TableKind* kind;
  std::vector<json> rows{};
};

/** Throws unless a member of a row is good; rule is what it must keep to. */
void require(bool isGood, const std::string& name, const std::string& rule) {
  if (!isGood) {
    throw std::runtime_error("'" + name + "' " + rule);
  }
}

bool isGiven(const json& row, const char* name) {
  return row.contains(name) && !row[name].is_null() && row[name] != "";
}

std::int32_t integerOf(const json& row, const std::string& name, int highest) {
  const json value = row.value(name, json());
  const double number = value.is_number_integer() ? value.get<double>() : NAN;
  require(
      number >= INT_MIN && number <= highest, name,
      "must be a whole number from " + std::to_string(INT_MIN) + " to " + std::to_string(highest));
  return value.get<std::int32_t>();
}

std::string textOf(const json& row, const std::string& name) {
  const json value = row.value(name, json());
  const std::string text = value.is_string() ? value.get<std::string>() : std::string(1, '\0');
  require(text.find('\0') == std::string::npos, name, "must be a text without zero bytes");
  return text;
}

void setPayload(LaunchPayload& payload, const json& row) {
  payload.launchCount = integerOf(row, kLaunches.payloadColumn, INT_MAX);
}

void setPayload(SlotPayload& payload, const json& row) {
  const std::string text = textOf(row, kSlots.payloadColumn);
  constexpr std::size_t kLongest = sizeof(payload.slotText) - 1;
  require(text.size() <= kLongest, kSlots.payloadColumn,
          "must have at most " + std::to_string(kLongest) + " bytes, not " +
              std::to_string(text.size()));
  payload = {};
  text.copy(payload.slotText, kLongest);
}

/** A row for the store. Throws what cannot be put into one. */
template <typename T>
std::unique_ptr<LMDBDataRow<T>> rowFrom(const json& object, const TableKind& kind) {
  const std::set<std::string> columns = {"rowid", "int", kind.nameColumn, "rsvd",
                                         kind.payloadColumn};
  for (const auto& [name, value] : object.items()) {
    require(columns.count(name) != 0, name, "is not a column of this kind of rows");
  }
  auto row = std::make_unique<LMDBDataRow<T>>();
  row->intcol1 = isGiven(object, "int") ? integerOf(object, "int", kNoIntcol1 - 1) : kNoIntcol1;
  row->appName = textOf(object, kind.nameColumn);
  require(!row->appName.empty(), kind.nameColumn, "must not be empty");
  row->rsvdName = isGiven(object, "rsvd") ? textOf(object, "rsvd") : "";
  setPayload(row->payload, object);
  return row;
}

void check(const json& row, const TableKind& kind) {
  if (&kind == &kSlots) {
    rowFrom<SlotPayload>(row, kind);
  } else {
    rowFrom<LaunchPayload>(row, kind);
  }
}

/** Parses one object. Throws json::exception, and also for a member that is given twice. */
json parseObject(const std::string& line) {
  std::set<std::string> names;
  const auto checkName = [&](int depth, json::parse_event_t event, const json& value) {
    if (depth == 1 && event == json::parse_event_t::key) {
      require(names.insert(value).second, value, "is given twice");
    }
    return true;
  };
  json object = json::parse(line, checkName);
  if (!object.is_object()) {
    throw std::runtime_error("not an object");
  }
  return object;
}

/** Adds the row of a line that is at a place. */
void addRow(const std::string& line, NewRows& rows, const std::string& place) try {
  const json row = parseObject(line);
  if (rows.rows.empty() && row.contains(kSlots.nameColumn)) {
    rows.kind = &kSlots;
  }
  check(row, *rows.kind);
  rows.rows.push_back(row);
} catch (const json::exception& e) {
  const std::string what = e.what();  // names the parser and a line of its own first
  throw std::runtime_error(place + what.substr(std::min(what.find("column"), what.size())));
} catch (const std::runtime_error& e) {
  throw std::runtime_error(place + e.what());
}

NewRows readRows(std::istream& text, const std::string& name) {
  NewRows rows = {&kLaunches};
  std::string line;
  for (std::size_t number = 1; std::getline(text, line); ++number) {
    if (line.find_first_not_of(" \t\r") != std::string::npos) {
      addRow(line, rows, name + ": line " + std::to_string(number) + ": ");
    }
  }
  return rows;
}

/** The row that the command line tells of. */
NewRows givenRow(const DbOptions& options) try {
  const auto& [intcol1, appName, rsvdName] = options.key;
  const TableKind& kind = options.isSlot ? kSlots : kLaunches;
  const json payload =
      options.isSlot ? json(*options.value) : json::parse(*options.value, nullptr, false);
  json row = {{kind.nameColumn, appName}, {kind.payloadColumn, payload}, {"rsvd", rsvdName}};
  if (intcol1 != kNoIntcol1) {
    row["int"] = intcol1;
  }
  check(row, kind);
  return {&kind, {row}};
} catch (const std::runtime_error& e) {
  throw UsageError(e.what());
}

NewRows rowsToPut(const DbOptions& options) {
  if (options.value) {
    return givenRow(options);
  }
  if (options.from == "-") {
    return readRows(std::cin, "standard input");
  }
  requireReadable(options.from);
  std::ifstream file(options.from);
  return readRows(file, options.from);
}

/** Throws when a table that is there already has rows of another kind. */
void requireKind(const DbOptions& options, const TableKind& wanted) {
  const Database database(options.file);
  const TableKind& kind =
      database.hasTable(options.table) ? database.requireStore(options.table) : kEmpty;
  if (&kind != &wanted && &kind != &kEmpty) {
    throw std::runtime_error(options.file + ": the payloads in " + options.table + " are " +
                             kind.name + ", not " + wanted.name);
  }
}

/**
 * Writes rows; returns whether all are in the table. Each write is of rows that set the same fields:
 * one that does not set a field would get it from the row before.
 */
template <typename T>
bool write(const DbOptions& options, const NewRows& rows) {
  LMDatabase<T> store(options.table, "", options.file);
  if (store.LMDatabaseInit() != LMDB_SUCCESS) {
    return false;
  }
  sqlite3_busy_timeout(store.mDb, kBusyLimitMs);
  bool isRolledBack = false;
  const auto note = [](void* flag) { *static_cast<bool*>(flag) = true; };
  sqlite3_rollback_hook(store.mDb, note, &isRolledBack);
  const int before = sqlite3_total_changes(store.mDb);
  std::pair<bool, bool> cached;
  for (const json& object : rows.rows) {
    auto row = rowFrom<T>(object, *rows.kind);
    const std::pair unset(row->intcol1 == kNoIntcol1, row->rsvdName.empty());
    if (unset != cached) {
      store.LMDatabaseWriteCachedToDisk();  // its result does not tell of the rows
    }
    cached = unset;
    store.cacheRow(std::move(row));
  }
  store.LMDatabaseWriteCachedToDisk();
  sqlite3_rollback_hook(store.mDb, nullptr, nullptr);
  const auto written = static_cast<std::size_t>(sqlite3_total_changes(store.mDb) - before);
  return !isRolledBack && written == rows.rows.size();
}

}  // namespace

int dbPut(const DbOptions& options, Console& console) {
  if (options.value.has_value() != options.from.empty()) {
    throw UsageError("give either VALUE or --from");
  }
  if (options.value ? options.key.appName.empty() : options.hasKey()) {
    throw UsageError(options.value ? "VALUE needs --app or --slot" : "--from gives all fields");
  }
  const NewRows rows = rowsToPut(options);
  Database::requireWritable(options.file);
  requireKind(options, *rows.kind);
  const bool isSlots = rows.kind == &kSlots;
  if (!(isSlots ? write<SlotPayload> : write<LaunchPayload>)(options, rows)) {
    throw std::runtime_error(options.file + ": not all rows were written; see the log");
  }
  return printCount("put", rows.rows.size(), options, console);
}
