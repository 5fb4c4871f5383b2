#include <climits>
#include <cmath>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <stdexcept>

#include "NodeChecks.h"
#include "db/Database.h"
#include "db/Db.h"

using nlohmann::json;

namespace {

/** A row's fields and the bytes of its payload. */
using NewRow = std::pair<LMDBDataRowKey, std::string>;

/** Rows that are to be put; all are of one kind. */
struct NewRows {
  const TableKind* kind;
  std::vector<NewRow> rows{};
};

/** Throws unless a member of a row is good; rule is what it must keep to. */
void require(bool isGood, const std::string& name, const std::string& rule) {
  if (!isGood) {
    throw std::runtime_error("'" + name + "' " + rule);
  }
}

std::int32_t integerFrom(const json& value, const std::string& name, int highest) {
  const double number = value.is_number_integer() ? value.get<double>() : NAN;
  require(
      number >= INT_MIN && number <= highest, name,
      "must be a whole number from " + std::to_string(INT_MIN) + " to " + std::to_string(highest));
  return value.get<std::int32_t>();
}

std::string textFrom(const json& value, const std::string& name) {
  const bool isGood = value.is_string() && value.get<std::string>().find('\0') == std::string::npos;
  require(isGood, name, "must be a text without zero bytes");
  return value;
}

std::string payloadFrom(const json& value, const TableKind& kind) {
  if (&kind == &kLaunches) {
    const LaunchPayload payload = {integerFrom(value, kind.payloadColumn, INT_MAX)};
    return {reinterpret_cast<const char*>(&payload), sizeof(payload)};
  }
  std::string text = textFrom(value, kind.payloadColumn);
  require(text.size() <= kLongestSlot, kind.payloadColumn,
          "must have at most " + std::to_string(kLongestSlot) + " bytes, not " +
              std::to_string(text.size()));
  text.resize(sizeof(SlotPayload));
  return text;
}

/** A row from an object as "lmctl db dump --json" prints it. Throws what cannot be put. */
NewRow rowFrom(const json& object, const TableKind& kind) {
  for (const auto& [name, value] : object.items()) {
    const bool isColumn = name == "rowid" || name == "int" || name == kind.nameColumn ||
                          name == "rsvd" || name == kind.payloadColumn;
    require(isColumn, name, "is not a column of this kind of rows");
  }
  const auto valueOf = [&](const char* name) { return object.value(name, json()); };
  LMDBDataRowKey key;
  if (!valueOf("int").is_null()) {
    key.intcol1 = integerFrom(valueOf("int"), "int", kNoIntcol1 - 1);
  }
  key.rsvdName = valueOf("rsvd").is_null() ? "" : textFrom(valueOf("rsvd"), "rsvd");
  key.appName = textFrom(valueOf(kind.nameColumn), kind.nameColumn);
  require(!key.appName.empty(), kind.nameColumn, "must not be empty");
  return {key, payloadFrom(valueOf(kind.payloadColumn), kind)};
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
NewRows readRows(const std::string& file) {
  std::istringstream text(readText(file));
  NewRows rows = {&kLaunches};
  std::string line;
  std::size_t number = 0;
  try {
    while (++number, std::getline(text, line)) {
      if (line.find_first_not_of(" \t\r") == std::string::npos) {
        continue;
      }
      const json row = parseObject(line);
      if (rows.rows.empty() && row.count(kSlots.nameColumn) != 0) {
        rows.kind = &kSlots;
      }
      rows.rows.push_back(rowFrom(row, *rows.kind));
    }
  } catch (const std::runtime_error& e) {
    throw std::runtime_error((file == "-" ? "standard input" : file) + ": line " +
                             std::to_string(number) + ": " + e.what());
  }
  return rows;
}

/** The row that the command line tells of. */
NewRows givenRow(const DbOptions& options) try {
  const TableKind& kind = options.isSlot ? kSlots : kLaunches;
  const json payload =
      options.isSlot ? json(*options.value) : json::parse(*options.value, nullptr, false);
  return {&kind, {{options.key, payloadFrom(payload, kind)}}};
} catch (const std::runtime_error& e) {
  throw UsageError(e.what());
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
  for (const auto& [key, payload] : rows.rows) {
    const std::pair unset(key.intcol1 == kNoIntcol1, key.rsvdName.empty());
    if (unset != cached) {
      store.LMDatabaseWriteCachedToDisk();  // its result does not tell of the rows
    }
    cached = unset;
    T bytes;
    payload.copy(reinterpret_cast<char*>(&bytes), sizeof(bytes));
    const LMDBDataRow<T> row = {0, key.intcol1, key.appName, key.rsvdName, bytes};
    store.cacheRow(std::make_unique<LMDBDataRow<T>>(row));
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
  const NewRows rows = options.value ? givenRow(options) : readRows(options.from);
  Database::requireWritable(options.file);
  requireKind(options, *rows.kind);
  const bool isSlots = rows.kind == &kSlots;
  if (!(isSlots ? write<SlotPayload> : write<LaunchPayload>)(options, rows)) {
    throw std::runtime_error(options.file + ": not all rows were written; see the log");
  }
  return printCount("put", rows.rows.size(), options, console);
}
