#include "db/NewRows.h"

#include <algorithm>
#include <charconv>
#include <climits>
#include <istream>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>
#include <stdexcept>

#include "Console.h"
#include "db/Database.h"

using nlohmann::json;

namespace {

constexpr int kBusyLimitMs = 1000;
constexpr std::size_t kLongestSlot = sizeof(SlotPayload::slotText) - 1;

/** Throws when a slot would cut a text. */
void requireSlotFits(const std::string& text) {
  if (text.size() > kLongestSlot) {
    throw UsageError("a slot's text has at most " + std::to_string(kLongestSlot) + " bytes, not " +
                     std::to_string(text.size()));
  }
}

std::string integerProblem(const std::string& name, int high) {
  return "'" + name + "' is not a whole number from " + std::to_string(INT_MIN) + " to " +
         std::to_string(high);
}

/** Parses one object. Throws json::exception, also for a member that is given twice. */
json parseObject(const std::string& line) {
  std::set<std::string> names;
  const auto check = [&](int depth, json::parse_event_t event, const json& value) {
    if (depth == 1 && event == json::parse_event_t::key && !names.insert(value).second) {
      throw std::runtime_error("'" + value.get<std::string>() + "' is given twice");
    }
    return true;
  };
  json object = json::parse(line, check);
  if (!object.is_object()) {
    throw std::runtime_error("not an object");
  }
  return object;
}

std::int32_t integerFrom(const std::string& name, const json& value, int high) {
  const bool fits = value.is_number_integer() && value >= INT_MIN && value <= high;
  if (!fits) {
    throw std::runtime_error(integerProblem(name, high));
  }
  return value.get<std::int32_t>();
}

std::string textFrom(const std::string& name, const json& value) {
  if (!value.is_string() || value.get<std::string>().find('\0') != std::string::npos) {
    throw std::runtime_error("'" + name + "' is not a text without zero bytes");
  }
  return value.get<std::string>();
}

/** One object's row; isSlot tells of which kind it has to be. */
NewRow rowFrom(const json& object, bool isSlot) {
  const char* const nameMember = isSlot ? "slot" : "app";
  const char* const payloadMember = isSlot ? "apps" : "launches";
  NewRow row;
  for (const auto& [name, value] : object.items()) {
    if (name == "rowid" || (value.is_null() && name != payloadMember)) {
      continue;
    }
    if (name == "int") {
      row.intcol1 = integerFrom(name, value, kNoIntcol1 - 1);
    } else if (name == nameMember) {
      row.appName = textFrom(name, value);
    } else if (name == "rsvd") {
      row.rsvdName = textFrom(name, value);
    } else if (name == payloadMember && isSlot) {
      row.apps = textFrom(name, value);
      requireSlotFits(row.apps);
    } else if (name == payloadMember) {
      row.launches = integerFrom(name, value, INT_MAX);
    } else {
      throw std::runtime_error("'" + name + "' is not a column of this kind of rows");
    }
  }
  if (row.appName.empty() || object.count(payloadMember) == 0) {
    throw std::runtime_error(std::string("no '") +
                             (row.appName.empty() ? nameMember : payloadMember) + "' is given");
  }
  return row;
}

/** Adds the row of a line that is at a place. */
void addRow(const std::string& line, NewRows& rows, const std::string& place) try {
  const json object = parseObject(line);
  if (rows.rows.empty()) {
    rows.areSlots = object.count("slot") != 0;
  }
  rows.rows.push_back(rowFrom(object, rows.areSlots));
} catch (const json::exception& e) {
  const std::string what = e.what();  // names the parser and a line of its own first
  throw std::runtime_error(place + what.substr(std::min(what.find("column"), what.size())));
} catch (const std::runtime_error& e) {
  throw std::runtime_error(place + e.what());
}

void set(LaunchPayload& payload, const NewRow& row) { payload.launchCount = row.launches; }

void set(SlotPayload& payload, const NewRow& row) {
  payload = {};
  row.apps.copy(payload.slotText, kLongestSlot);
}

template <typename T>
void cacheRow(LMDatabase<T>& store, const NewRow& text) {
  auto row = std::make_unique<LMDBDataRow<T>>();
  row->intcol1 = text.intcol1;
  row->appName = text.appName;
  row->rsvdName = text.rsvdName;
  set(row->payload, text);
  std::lock_guard lock(store.mRowCacheLck);
  store.mRowCache.push_back(nullptr);  // may throw, while row is still owned
  store.mRowCache.back() = row.release();
}

/** Writes the store's cached rows; returns how many of them are in the table now. */
template <typename T>
std::size_t writeCached(LMDatabase<T>& store) {
  struct Changes {
    sqlite3* db;
    int before;
  } changes = {store.mDb, sqlite3_total_changes(store.mDb)};
  const auto forgetChanges = [](void* context) {
    auto* const self = static_cast<Changes*>(context);
    self->before = sqlite3_total_changes(self->db);
  };
  sqlite3_rollback_hook(store.mDb, forgetChanges, &changes);
  store.LMDatabaseWriteCachedToDisk();  // its result does not tell of the rows
  sqlite3_rollback_hook(store.mDb, nullptr, nullptr);
  return static_cast<std::size_t>(sqlite3_total_changes(store.mDb) - changes.before);
}

/** Whether rows set the same fields. */
bool areAlike(const NewRow& a, const NewRow& b) {
  return (a.intcol1 == kNoIntcol1) == (b.intcol1 == kNoIntcol1) &&
         a.rsvdName.empty() == b.rsvdName.empty();
}

/**
 * Writes rows; returns how many are in the table. Each write is of rows that set the same fields: one
 * that does not set a field would get it from the row before.
 */
template <typename T>
std::size_t write(const std::string& file, const std::string& table,
                  const std::vector<NewRow>& rows) {
  LMDatabase<T> store(table, "", file);
  if (store.LMDatabaseInit() != LMDB_SUCCESS) {
    return 0;
  }
  sqlite3_busy_timeout(store.mDb, kBusyLimitMs);
  std::size_t written = 0;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    cacheRow(store, rows[i]);
    if (i + 1 == rows.size() || !areAlike(rows[i], rows[i + 1])) {
      written += writeCached(store);
    }
  }
  return written;
}

}  // namespace

void setPayload(NewRow& row, const std::string& text, bool isSlot) {
  if (isSlot) {
    requireSlotFits(text);
    row.apps = text;
    return;
  }
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, row.launches);
  if (error != std::errc() || rest != end) {
    throw UsageError(integerProblem(text, INT_MAX));
  }
}

NewRows readRows(std::istream& text, const std::string& name) {
  NewRows rows;
  std::string line;
  for (std::size_t number = 1; std::getline(text, line); ++number) {
    if (line.find_first_not_of(" \t\r") != std::string::npos) {
      addRow(line, rows, name + ": line " + std::to_string(number) + ": ");
    }
  }
  return rows;
}

void writeRows(const std::string& file, const std::string& table, const NewRows& rows) {
  Database::requireWritable(file);
  const std::size_t written = rows.areSlots ? write<SlotPayload>(file, table, rows.rows)
                                            : write<LaunchPayload>(file, table, rows.rows);
  if (written < rows.rows.size()) {
    throw std::runtime_error(file + ": only " + std::to_string(written) + " of " +
                             std::to_string(rows.rows.size()) + " rows were written; see the log");
  }
}
