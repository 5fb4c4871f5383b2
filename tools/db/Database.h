#pragma once

#include <sqlite3.h>

#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <string>

#include "LMDatabase.h"

/** The payloads that lmctl knows, and the longest text of a slot. @{ */
using LaunchPayload = _preKill_User_Launched_Data;
using SlotPayload = _preKill_Favorite_Time_Slot_Data;
inline constexpr std::size_t kLongestSlot = sizeof(SlotPayload::slotText) - 1;
/** @} */

/** What the rows of a table are, and what lmctl calls their columns appName and blob. */
struct TableKind {
  const char* name;
  const char* nameColumn;
  const char* payloadColumn;
};
inline constexpr TableKind kLaunches = {"launches", "app", "launches"};
inline constexpr TableKind kSlots = {"slots", "slot", "apps"};
inline constexpr TableKind kEmpty = {"empty", "app", "payload"};
inline constexpr TableKind kUnknown = {"unknown", "app", "payload"};
inline constexpr TableKind kForeign = {"not a row store's", "", ""};  ///< it lacks columns

inline constexpr int kBusyLimitMs = 1000;  ///< the table's own program may be writing

/** Finds the names of a file's tables. */
inline constexpr char kTableNames[] =
    "SELECT name FROM sqlite_master WHERE type = 'table' ORDER BY name";

/**
 * The rows that a query finds, objects of the query's columns. A blob is a payload: a launch count, a
 * slot's text, or hexadecimal when it is neither. Throws std::runtime_error.
 */
nlohmann::ordered_json queryRows(sqlite3* db, const std::string& query);

/** A connection of lmctl's own, which only looks at a file. Failures throw std::runtime_error. */
class Database {
 public:
  /** Opens a file that must be there, to read it, or with other flags of sqlite3_open_v2(). */
  explicit Database(const std::string& file, int flags = SQLITE_OPEN_READWRITE);

  /** Makes sure that the file can be written now, and makes it when there is none. */
  static void requireWritable(const std::string& file);

  /** queryRows(); what fails is told with the file's name. */
  nlohmann::ordered_json query(const std::string& query) const;

  /** Whether there is a table with a name, which may differ in case. */
  bool hasTable(const std::string& name) const;

  const TableKind& kindOf(const std::string& table) const;

  /** The kind of a table that has to be there and a row store's. Throws what it lacks. */
  const TableKind& requireStore(const std::string& table) const;

 private:
  /** Which columns of a row store's table a table lacks, ", " between them; null for none. */
  nlohmann::ordered_json missingColumns(const std::string& table) const;

  [[noreturn]] void fail() const;

  const std::string mFile;
  const bool mIsToRead;  ///< though SQLite may have to write beside the file for it
  std::unique_ptr<sqlite3, int (*)(sqlite3*)> mDb{nullptr, sqlite3_close};
};

/** A name as SQL writes it whatever is in it. */
std::string quoted(const std::string& name);
