#include "db/Db.h"

#include <nlohmann/json.hpp>
#include <ostream>
#include <stdexcept>

#include "Output.h"
#include "db/Database.h"

using nlohmann::ordered_json;

int dbTables(const DbOptions& options, Console& console) {
  const Database database(options.file);
  ordered_json rows = ordered_json::array();
  for (const ordered_json& table : database.query(kTableNames)) {
    const std::string name = table["name"];
    const ordered_json count = database.query("SELECT count(*) AS rows FROM " + quoted(name));
    rows.push_back(
        {{"table", name}, {"payload", database.kindOf(name).name}, {"rows", count[0]["rows"]}});
  }
  return printResult(rows, options.json, console);
}

int dbDump(const DbOptions& options, Console& console) {
  const Database database(options.file);
  const TableKind& kind = database.requireStore(options.table);
  std::string query = "SELECT rowid AS rowid, intcol1 AS int, appName AS " +
                      std::string(kind.nameColumn) + ", rsvdName AS rsvd, blob AS " +
                      kind.payloadColumn + " FROM " + options.table + " ";
  LMDBDataRowKey key = options.key;
  LMDatabase<LaunchPayload>::build_query_for_where_clause(key, query);
  const ordered_json rows = database.query(query + " ORDER BY rowid");
  if (!options.json) {
    printTable(rows, console.out);
    return kSuccess;
  }
  bool isKept = true;
  for (const ordered_json& row : rows) {
    const std::string line = row.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
    console.out << line << "\n";
    isKept = isKept && line == row.dump(-1, ' ', false, ordered_json::error_handler_t::ignore);
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
