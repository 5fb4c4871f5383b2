#include "db/Database.h"

#include <cstring>
#include <nlohmann/json.hpp>
#include <stdexcept>

using nlohmann::ordered_json;

namespace {

ordered_json payloadOf(const std::string& bytes) {
  if (bytes.size() == sizeof(SlotPayload)) {
    return bytes.c_str();
  }
  if (bytes.size() == sizeof(LaunchPayload)) {
    LaunchPayload launches;
    std::memcpy(&launches, bytes.data(), sizeof(launches));
    return launches.launchCount;
  }
  constexpr char kDigits[] = "0123456789abcdef";
  std::string hex = "0x";
  for (const unsigned char byte : bytes) {
    hex += {kDigits[byte / 16], kDigits[byte % 16]};
  }
  return hex;
}

ordered_json cellOf(sqlite3_stmt* row, int column) {
  const int type = sqlite3_column_type(row, column);
  if (type == SQLITE_NULL) {
    return nullptr;
  }
  if (type == SQLITE_INTEGER) {
    return sqlite3_column_int64(row, column);
  }
  const void* const bytes = sqlite3_column_blob(row, column);
  const std::string text(static_cast<const char*>(bytes),
                         static_cast<std::size_t>(sqlite3_column_bytes(row, column)));
  return type == SQLITE_BLOB ? payloadOf(text) : ordered_json(text);
}

}  // namespace

ordered_json queryRows(sqlite3* db, const std::string& query) {
  sqlite3_stmt* prepared = nullptr;
  int code = sqlite3_prepare_v2(db, query.c_str(), -1, &prepared, nullptr);
  const std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)> row(prepared, sqlite3_finalize);
  ordered_json rows = ordered_json::array();
  while (prepared != nullptr && (code = sqlite3_step(prepared)) == SQLITE_ROW) {
    ordered_json& cells = rows.emplace_back();
    for (int i = 0; i < sqlite3_column_count(prepared); ++i) {
      cells[sqlite3_column_name(prepared, i)] = cellOf(prepared, i);
    }
  }
  if (code != SQLITE_DONE) {
    throw std::runtime_error(sqlite3_errmsg(db));
  }
  return rows;
}

Database::Database(const std::string& file, int flags)
    : mFile(file), mIsToRead((flags & SQLITE_OPEN_CREATE) == 0) {
  sqlite3* opened = nullptr;
  const int code = sqlite3_open_v2(file.c_str(), &opened, flags, nullptr);
  mDb.reset(opened);
  if (code != SQLITE_OK) {
    fail();
  }
  sqlite3_busy_timeout(opened, kBusyLimitMs);
  if (mIsToRead) {  // a connection that cannot write at all would leave files of the log behind
    query("PRAGMA query_only = 1");
  }
}

void Database::requireWritable(const std::string& file) {
  const Database database(file, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
  database.query("BEGIN IMMEDIATE");
  database.query("ROLLBACK");
}

ordered_json Database::query(const std::string& query) const try {
  return queryRows(mDb.get(), query);
} catch (const std::runtime_error&) {
  fail();
}

bool Database::hasTable(const std::string& name) const {
  return sqlite3_table_column_metadata(mDb.get(), nullptr, name.c_str(), nullptr, nullptr, nullptr,
                                       nullptr, nullptr, nullptr) == SQLITE_OK;
}

ordered_json Database::missingColumns(const std::string& table) const {
  return query(
      "WITH needed(name) AS (VALUES ('intcol1'), ('appName'), ('rsvdName'), ('blob')) "
      "SELECT group_concat(name, ', ') AS names FROM needed WHERE name COLLATE NOCASE NOT IN "
      "(SELECT name FROM pragma_table_info(" +
      quoted(table) + "))")[0]["names"];
}

const TableKind& Database::kindOf(const std::string& table) const {
  if (!missingColumns(table).is_null()) {
    return kForeign;
  }
  const ordered_json sizes =
      query("SELECT length(blob) AS size FROM " + quoted(table) + " WHERE blob NOT NULL LIMIT 1");
  if (sizes.empty()) {
    return kEmpty;
  }
  if (sizes[0]["size"] == sizeof(LaunchPayload)) {
    return kLaunches;
  }
  return sizes[0]["size"] == sizeof(SlotPayload) ? kSlots : kUnknown;
}

const TableKind& Database::requireStore(const std::string& table) const {
  if (!hasTable(table)) {
    const ordered_json others =
        query("SELECT ifnull(group_concat(name, ', '), 'none') AS names FROM (" +
              std::string(kTableNames) + ")");
    throw std::runtime_error(mFile + " has no table " + table + "; it has " +
                             others[0]["names"].get<std::string>());
  }
  const TableKind& kind = kindOf(table);
  if (&kind == &kForeign) {
    throw std::runtime_error(mFile + ": table " + table + " is not a row store's; it lacks " +
                             missingColumns(table).get<std::string>());
  }
  return kind;
}

void Database::fail() const {
  const int code = sqlite3_errcode(mDb.get());
  const int systemCode = sqlite3_system_errno(mDb.get());
  std::string reason = code == SQLITE_CANTOPEN && systemCode != 0 ? std::strerror(systemCode)
                                                                  : sqlite3_errmsg(mDb.get());
  if (mIsToRead && code == SQLITE_READONLY) {
    reason = "SQLite has to write files beside it even to read it; run this as a user who may";
  }
  throw std::runtime_error(mFile + ": " + reason);
}

std::string quoted(const std::string& name) {
  const std::unique_ptr<char, void (*)(void*)> text(sqlite3_mprintf("\"%w\"", name.c_str()),
                                                    sqlite3_free);
  return text.get();
}
