#pragma once

#include <sqlite3.h>

#include <memory>
#include <string>
#include <vector>

/** A connection of lmctl's own, which only looks at a file. Failures throw std::runtime_error. */
class Database {
 public:
  /** Opens a file that must be there. */
  explicit Database(const std::string& file);

  /** Makes sure that the file can be written now, and makes it when there is none. */
  static void requireWritable(const std::string& file);

  /** The rows that a query finds, one after the other. */
  class Query {
   public:
    Query(const Database& database, const std::string& sql);

    /** Goes to the next row; false after the last one. */
    bool next();

    /** The current row's columns, as a text; empty for null. */
    std::string text(int column) const;
    std::int64_t integer(int column) const {
      return sqlite3_column_int64(mStatement.get(), column);
    }
    int type(int column) const { return sqlite3_column_type(mStatement.get(), column); }

   private:
    struct Finalize {
      void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
    };
    const Database& mDatabase;
    std::unique_ptr<sqlite3_stmt, Finalize> mStatement;
  };

  /** The names of the file's tables. */
  std::vector<std::string> tables() const;

  /** Whether there is a table with a name, which may differ in case. */
  bool hasTable(const std::string& name) const {
    return sqlite3_table_column_metadata(mDb.get(), nullptr, name.c_str(), nullptr, nullptr,
                                         nullptr, nullptr, nullptr, nullptr) == SQLITE_OK;
  }

  /** Which columns of a row store's table a table lacks. */
  std::vector<std::string> missingColumns(const std::string& table) const;

  /** The size of the payloads in a table; -1 when it has none. */
  int payloadSize(const std::string& table) const;

 private:
  /** Opens a file with sqlite3_open_v2()'s flags. */
  Database(const std::string& file, int flags);

  /** The first columns of the rows that a query finds. */
  std::vector<std::string> texts(const std::string& sql) const;

  [[noreturn]] void fail() const;

  struct Close {
    void operator()(sqlite3* db) const { sqlite3_close(db); }
  };
  const std::string mFile;
  const bool mIsToRead;  ///< though SQLite may have to write beside the file for it
  std::unique_ptr<sqlite3, Close> mDb;
};

/** A name as SQL writes it whatever is in it. */
std::string quoted(const std::string& name);
