#include "db/Db.h"

#include <unistd.h>

#include <cstring>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <stdexcept>

#include "NodeChecks.h"
#include "Output.h"
#include "db/Database.h"
#include "db/NewRows.h"

using nlohmann::ordered_json;

namespace {

constexpr int kLaunchSize = sizeof(LaunchPayload);
constexpr int kSlotSize = sizeof(SlotPayload);

std::string joined(const std::vector<std::string>& texts) {
  std::string result;
  for (const std::string& text : texts) {
    result += (result.empty() ? "" : ", ") + text;
  }
  return result.empty() ? "none" : result;
}

/** Throws unless a file has a table, and that is a row store's. */
void requireTable(const Database& database, const DbOptions& options) {
  if (!database.hasTable(options.table)) {
    throw std::runtime_error(options.file + " has no table " + options.table + "; it has " +
                             joined(database.tables()));
  }
  const auto missing = database.missingColumns(options.table);
  if (!missing.empty()) {
    throw std::runtime_error(options.file + ": table " + options.table +
                             " is not a row store's; it lacks " + joined(missing));
  }
}

bool hasKey(const LMDBDataRowKey& key) {
  return !key.appName.empty() || !key.rsvdName.empty() || key.intcol1 != kNoIntcol1;
}

std::string hex(const std::string& bytes) {
  std::ostringstream text;
  text << "0x" << std::hex << std::setfill('0');
  for (const char byte : bytes) {
    text << std::setw(2) << static_cast<unsigned>(static_cast<unsigned char>(byte));
  }
  return text.str();
}

ordered_json payload(const std::string& bytes) {
  if (bytes.size() == kSlotSize) {
    return bytes.c_str();
  }
  if (bytes.size() != kLaunchSize) {
    return hex(bytes);
  }
  LaunchPayload launches;
  std::memcpy(&launches, bytes.data(), sizeof(launches));
  return launches.launchCount;
}

/** The current row of a query for rowid, intcol1, appName, rsvdName and blob. */
ordered_json rowFrom(const Database::Query& query, int payloadSize) {
  const auto textOrNull = [&](int column) {
    return query.type(column) == SQLITE_NULL ? ordered_json() : ordered_json(query.text(column));
  };
  const bool isInteger = query.type(1) == SQLITE_INTEGER;
  return {{"rowid", query.integer(0)},
          {"int", isInteger ? ordered_json(query.integer(1)) : textOrNull(1)},
          {payloadSize == kSlotSize ? "slot" : "app", textOrNull(2)},
          {"rsvd", textOrNull(3)},
          {payloadSize == kSlotSize     ? "apps"
           : payloadSize == kLaunchSize ? "launches"
                                        : "payload",
           query.type(4) == SQLITE_NULL ? ordered_json() : payload(query.text(4))}};
}

/** Prints a row on a line of its own; returns whether it could be kept byte for byte. */
bool printLine(const ordered_json& row, std::ostream& out) try {
  out << row.dump() << "\n";
  return true;
} catch (const ordered_json::type_error&) {
  out << row.dump(-1, ' ', false, ordered_json::error_handler_t::replace) << "\n";
  return false;
}

void printCount(const char* done, std::size_t count, bool json, std::ostream& out) {
  if (json) {
    printJson({{done, count}}, out);
  } else {
    out << done << " " << count << (count == 1 ? " row\n" : " rows\n");
  }
}

/** The rows that are to be put: those of a file, or the one that the options tell of. */
NewRows rowsToPut(const DbOptions& options) {
  const LMDBDataRowKey& key = options.key;
  if (options.from.empty()) {
    NewRows rows = {
        .areSlots = options.isSlot,
        .rows = {{.intcol1 = key.intcol1, .appName = key.appName, .rsvdName = key.rsvdName}}};
    setPayload(rows.rows.front(), options.value.value_or(""), rows.areSlots);
    return rows;
  }
  if (options.from == "-") {
    return readRows(std::cin, "standard input");
  }
  requireReadable(options.from);
  std::ifstream file(options.from);
  return readRows(file, options.from);
}

/** Throws when a table that is there already has rows of another kind. */
void requireKind(const DbOptions& options, bool areSlots) {
  if (access(options.file.c_str(), F_OK) != 0) {
    return;
  }
  const Database database(options.file);
  if (!database.hasTable(options.table)) {
    return;
  }
  requireTable(database, options);
  const int size = database.payloadSize(options.table);
  if (size >= 0 && size != (areSlots ? kSlotSize : kLaunchSize)) {
    throw std::runtime_error(options.file + ": payloads of " + options.table + " have " +
                             std::to_string(size) + " bytes: " +
                             (size == kSlotSize     ? "a slot's apps; name it with --slot"
                              : size == kLaunchSize ? "an app's launches; name it with --app"
                                                    : "lmctl does not know them"));
  }
}

}  // namespace

int dbTables(const DbOptions& options, Console& console) {
  const Database database(options.file);
  ordered_json rows = ordered_json::array();
  for (const std::string& table : database.tables()) {
    Database::Query count(database, "SELECT count(*) FROM " + quoted(table));
    count.next();
    const bool isStore = database.missingColumns(table).empty();
    const int size = isStore ? database.payloadSize(table) : -1;
    rows.push_back({{"table", table},
                    {"payload", !isStore              ? "not a row store's"
                                : size == kSlotSize   ? "slots"
                                : size == kLaunchSize ? "launches"
                                : size < 0            ? "empty"
                                                      : std::to_string(size) + " bytes"},
                    {"rows", count.integer(0)}});
  }
  printRows(rows, options.json, console.out);
  return kSuccess;
}

int dbDump(const DbOptions& options, Console& console) {
  const Database database(options.file);
  requireTable(database, options);
  const int size = database.payloadSize(options.table);
  std::string where;
  LMDBDataRowKey key = options.key;
  LMDatabase<LaunchPayload>::build_query_for_where_clause(key, where);
  Database::Query query(database, "SELECT rowid, intcol1, appName, rsvdName, blob FROM " +
                                      options.table + " " + where + " ORDER BY rowid");
  ordered_json rows = ordered_json::array();
  bool isKept = true;
  while (query.next()) {
    if (options.json) {
      isKept = printLine(rowFrom(query, size), console.out) && isKept;
    } else {
      rows.push_back(rowFrom(query, size));
    }
  }
  if (!options.json) {
    printTable(rows, console.out);
  }
  if (!isKept) {
    console.beginNote() << "bytes that are not UTF-8 were replaced\n";
  }
  return kSuccess;
}

int dbPut(const DbOptions& options, Console& console) {
  if (options.value.has_value() != options.from.empty()) {
    throw UsageError("give either VALUE or --from");
  }
  if (options.value ? options.key.appName.empty() : hasKey(options.key)) {
    throw UsageError(options.value ? "VALUE needs --app or --slot" : "--from gives all fields");
  }
  const NewRows rows = rowsToPut(options);
  requireKind(options, rows.areSlots);
  writeRows(options.file, options.table, rows);
  printCount("put", rows.rows.size(), options.json, console.out);
  return kSuccess;
}

int dbDelete(const DbOptions& options, Console& console) {
  if (hasKey(options.key) == options.all) {
    throw UsageError("name which rows, or give --all");
  }
  requireTable(Database(options.file), options);
  Database::requireWritable(options.file);
  // No row's payload is read: any will do.
  LMDatabase<LaunchPayload> store(options.table, "", options.file);
  LMDBDataRowKey key = options.key;
  const int deleted = store.LMDatabaseInit() == LMDB_SUCCESS ? store.deleteAllDR(key) : -1;
  if (deleted < 0) {
    throw std::runtime_error(options.file + ": nothing was deleted; see the log");
  }
  printCount("deleted", static_cast<std::size_t>(deleted), options.json, console.out);
  return kSuccess;
}
