#include "db/Database.h"

#include <cstring>
#include <stdexcept>

// A connection that could not write at all would leave files of the write-ahead log behind.
Database::Database(const std::string& file) : Database(file, SQLITE_OPEN_READWRITE) {
  each("PRAGMA query_only = 1", {});
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
}

void Database::requireWritable(const std::string& file) {
  const Database database(file, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
  database.each("BEGIN IMMEDIATE", {});
  database.each("ROLLBACK", {});
}

void Database::each(const std::string& query, const Visitor& visit) const {
  sqlite3_stmt* prepared = nullptr;
  int code = sqlite3_prepare_v2(mDb.get(), query.c_str(), -1, &prepared, nullptr);
  const std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)> row(prepared, sqlite3_finalize);
  if (code != SQLITE_OK) {
    fail();
  }
  while ((code = sqlite3_step(row.get())) == SQLITE_ROW) {
    visit(row.get());
  }
  if (code != SQLITE_DONE) {
    fail();
  }
}

std::string Database::text(const std::string& query) const {
  std::string text;
  each(query, [&](sqlite3_stmt* row) { text = bytesOf(row, 0); });
  return text;
}

bool Database::hasTable(const std::string& name) const {
  return sqlite3_table_column_metadata(mDb.get(), nullptr, name.c_str(), nullptr, nullptr, nullptr,
                                       nullptr, nullptr, nullptr) == SQLITE_OK;
}

std::string Database::missingColumns(const std::string& table) const {
  return text(
      "WITH needed(name) AS (VALUES ('intcol1'), ('appName'), ('rsvdName'), ('blob')) "
      "SELECT group_concat(name, ', ') FROM needed WHERE name COLLATE NOCASE NOT IN "
      "(SELECT name FROM pragma_table_info(" +
      quoted(table) + "))");
}

const TableKind& Database::kindOf(const std::string& table) const {
  if (!missingColumns(table).empty()) {
    return kForeign;
  }
  const std::string size =
      text("SELECT length(blob) FROM " + quoted(table) + " WHERE blob NOT NULL LIMIT 1");
  if (size.empty()) {
    return kEmpty;
  }
  if (size == std::to_string(sizeof(LaunchPayload))) {
    return kLaunches;
  }
  return size == std::to_string(sizeof(SlotPayload)) ? kSlots : kUnknown;
}

const TableKind& Database::requireStore(const std::string& table) const {
  if (!hasTable(table)) {
    throw std::runtime_error(mFile + " has no table " + table + "; it has " +
                             text("SELECT ifnull(group_concat(name, ', '), 'none') FROM (" +
                                  std::string(kTableNames) + ")"));
  }
  const TableKind& kind = kindOf(table);
  if (&kind == &kForeign) {
    throw std::runtime_error(mFile + ": table " + table + " is not a row store's; it lacks " +
                             missingColumns(table));
  }
  return kind;
}

void Database::fail() const {
  std::string reason = sqlite3_errmsg(mDb.get());
  const int code = sqlite3_errcode(mDb.get());
  const int systemCode = sqlite3_system_errno(mDb.get());
  if (code == SQLITE_CANTOPEN && systemCode != 0) {
    reason = std::strerror(systemCode);
  }
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

std::string bytesOf(sqlite3_stmt* row, int column) {
  const void* const bytes = sqlite3_column_blob(row, column);
  const auto size = static_cast<std::size_t>(sqlite3_column_bytes(row, column));
  return {static_cast<const char*>(bytes), size};
}
