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
  return row.count(name) != 0 && !row[name].is_null();
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
  const bool isGood = value.is_string() && value.get<std::string>().find('\0') == std::string::npos;
  require(isGood, name, "must be a text without zero bytes");
  return value;
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
  for (const auto& [name, value] : object.items()) {
    const bool isColumn = name == "rowid" || name == "int" || name == kind.nameColumn ||
                          name == "rsvd" || name == kind.payloadColumn;
    require(isColumn, name, "is not a column of this kind of rows");
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

/** Parses one object. Throws also for a member that is given twice. */
json parseObject(const std::string& line) {
  std::set<std::string> names;
  const auto checkName = [&](int depth, json::parse_event_t event, const json& value) {
    if (depth == 1 && event == json::parse_event_t::key) {
      require(names.insert(value).second, value, "is given twice");
    }
    return true;
  };
  json object = json::parse(line, checkName, false);
  if (!object.is_object()) {
    throw std::runtime_error("not a JSON object");
  }
  return object;
}

/** Reads a row from each line that is not blank. Throws what is wrong, and in which line. */
NewRows readRows(std::istream& text, const std::string& name) {
  NewRows rows = {&kLaunches};
  std::string line;
  std::size_t number = 0;
  try {
    while (++number, std::getline(text, line)) {
      if (line.find_first_not_of(" \t\r") == std::string::npos) {
        continue;
      }
      const json& row = rows.rows.emplace_back(parseObject(line));
      if (rows.rows.size() == 1 && row.count(kSlots.nameColumn) != 0) {
        rows.kind = &kSlots;
      }
      check(row, *rows.kind);
    }
  } catch (const std::runtime_error& e) {
    throw std::runtime_error(name + ": line " + std::to_string(number) + ": " + e.what());
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
