#include "db/Db.h"

#include <cstring>
#include <nlohmann/json.hpp>
#include <ostream>
#include <stdexcept>

#include "Output.h"
#include "db/Database.h"

using nlohmann::ordered_json;

namespace {

ordered_json cellOf(sqlite3_stmt* row, int column) {
  switch (sqlite3_column_type(row, column)) {
    case SQLITE_NULL:
      return nullptr;
    case SQLITE_INTEGER:
      return sqlite3_column_int64(row, column);
    default:
      return bytesOf(row, column);
  }
}

/** A payload as a launch count, or as a text; one that lmctl does not know is in hexadecimal. */
ordered_json payloadOf(sqlite3_stmt* row, int blob, int hex) {
  const std::string bytes = bytesOf(row, blob);
  if (bytes.size() == sizeof(SlotPayload)) {
    return bytes.c_str();
  }
  if (bytes.size() != sizeof(LaunchPayload)) {
    return cellOf(row, hex);
  }
  LaunchPayload launches;
  std::memcpy(&launches, bytes.data(), sizeof(launches));
  return launches.launchCount;
}

/** Prints a row on a line of its own; returns whether it could be kept byte for byte. */
bool printLine(const ordered_json& row, std::ostream& out) {
  const std::string line = row.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
  out << line << "\n";
  return line == row.dump(-1, ' ', false, ordered_json::error_handler_t::ignore);
}

}  // namespace

int dbTables(const DbOptions& options, Console& console) {
  const Database database(options.file);
  ordered_json rows = ordered_json::array();
  database.each(kTableNames, [&](sqlite3_stmt* table) {
    const std::string name = bytesOf(table, 0);
    database.each("SELECT count(*) FROM " + quoted(name), [&](sqlite3_stmt* count) {
      rows.push_back(
          {{"table", name}, {"payload", database.kindOf(name).name}, {"rows", cellOf(count, 0)}});
    });
  });
  return printResult(rows, options.json, console);
}

int dbDump(const DbOptions& options, Console& console) {
  const Database database(options.file);
  const TableKind& kind = database.requireStore(options.table);
  std::string query =
      "SELECT rowid, intcol1, appName, rsvdName, blob, '0x' || lower(hex(blob)) FROM " +
      options.table + " ";
  LMDBDataRowKey key = options.key;
  LMDatabase<LaunchPayload>::build_query_for_where_clause(key, query);
  ordered_json rows = ordered_json::array();
  bool isKept = true;
  database.each(query + " ORDER BY rowid", [&](sqlite3_stmt* row) {
    const ordered_json line = {{"rowid", cellOf(row, 0)},
                               {"int", cellOf(row, 1)},
                               {kind.nameColumn, cellOf(row, 2)},
                               {"rsvd", cellOf(row, 3)},
                               {kind.payloadColumn, payloadOf(row, 4, 5)}};
    if (options.json) {
      isKept = printLine(line, console.out) && isKept;
    } else {
      rows.push_back(line);
    }
  });
  if (!options.json) {
    printTable(rows, console.out);
  }
  if (!isKept) {
    console.beginNote() << "bytes that are not UTF-8 were replaced\n";
  }
  return kSuccess;
}

int dbDelete(const DbOptions& options, Console& console) {
  if (options.hasKey() == options.all) {
    throw UsageError("name which rows, or give --all");
  }
  Database(options.file).requireStore(options.table);
  Database::requireWritable(options.file);
  // No row's payload is read: any will do.
  LMDatabase<LaunchPayload> store(options.table, "", options.file);
  LMDBDataRowKey key = options.key;
  const int deleted = store.LMDatabaseInit() == LMDB_SUCCESS ? store.deleteAllDR(key) : -1;
  if (deleted < 0) {
    throw std::runtime_error(options.file + ": nothing was deleted; see the log");
  }
  return printCount("deleted", static_cast<std::size_t>(deleted), options, console);
}

int printCount(const char* done, std::size_t count, const DbOptions& options, Console& console) {
  if (options.json) {
    printJson({{done, count}}, console.out);
  } else {
    console.out << done << " " << count << (count == 1 ? " row\n" : " rows\n");
  }
  return kSuccess;
}
