#include "db/Database.h"

#include <cstring>
#include <stdexcept>

#include "NodeChecks.h"

namespace {

constexpr int kBusyLimitMs = 1000;  ///< the table's own program may be writing

}  // namespace

std::string quoted(const std::string& name) {
  std::string result = "\"";
  for (const char c : name) {
    result.append(c == '"' ? 2 : 1, c);
  }
  return result + '"';
}

// A connection that could not write at all would leave files of the write-ahead log behind.
Database::Database(const std::string& file) : Database(file, SQLITE_OPEN_READWRITE) {
  Query(*this, "PRAGMA query_only = 1").next();
}

Database::Database(const std::string& file, int flags)
    : mFile(file), mIsToRead((flags & SQLITE_OPEN_CREATE) == 0) {
  if (mIsToRead) {
    requireReadable(file);
  }
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
  Query(database, "BEGIN IMMEDIATE").next();
  Query(database, "ROLLBACK").next();
}

Database::Query::Query(const Database& database, const std::string& sql) : mDatabase(database) {
  sqlite3_stmt* prepared = nullptr;
  const int code = sqlite3_prepare_v2(database.mDb.get(), sql.c_str(), -1, &prepared, nullptr);
  mStatement.reset(prepared);
  if (code != SQLITE_OK) {
    database.fail();
  }
}

bool Database::Query::next() {
  const int code = sqlite3_step(mStatement.get());
  if (code != SQLITE_ROW && code != SQLITE_DONE) {
    mDatabase.fail();
  }
  return code == SQLITE_ROW;
}

std::string Database::Query::text(int column) const {
  const void* const bytes = sqlite3_column_blob(mStatement.get(), column);
  const auto size = static_cast<std::size_t>(sqlite3_column_bytes(mStatement.get(), column));
  return bytes != nullptr ? std::string(static_cast<const char*>(bytes), size) : std::string();
}

std::vector<std::string> Database::texts(const std::string& sql) const {
  std::vector<std::string> texts;
  Query query(*this, sql);
  while (query.next()) {
    texts.push_back(query.text(0));
  }
  return texts;
}

std::vector<std::string> Database::tables() const {
  return texts("SELECT name FROM sqlite_master WHERE type = 'table' ORDER BY name");
}

std::vector<std::string> Database::missingColumns(const std::string& table) const {
  return texts(
      "WITH needed(name) AS (VALUES ('intcol1'), ('appName'), ('rsvdName'), ('blob')) "
      "SELECT name FROM needed WHERE name COLLATE NOCASE NOT IN "
      "(SELECT name FROM pragma_table_info(" +
      quoted(table) + "))");
}

int Database::payloadSize(const std::string& table) const {
  Query query(*this, "SELECT length(blob) FROM " + quoted(table) + " WHERE blob NOT NULL LIMIT 1");
  return query.next() ? static_cast<int>(query.integer(0)) : -1;
}

void Database::fail() const {
  std::string reason = mDb != nullptr ? sqlite3_errmsg(mDb.get()) : "no memory";
  if (sqlite3_errcode(mDb.get()) == SQLITE_CANTOPEN) {
    reason += std::string(": ") + std::strerror(sqlite3_system_errno(mDb.get()));
  }
  if (mIsToRead && sqlite3_errcode(mDb.get()) == SQLITE_READONLY) {
    reason = "even to read it, SQLite has to write files beside it; run this as who may";
  }
  throw std::runtime_error(mFile + ": " + reason);
}
