#include "DbCommands.h"

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <ostream>
#include <stdexcept>

#include "Rows.h"

namespace {

using LaunchPayload = _preKill_User_Launched_Data;
using SlotPayload = _preKill_Favorite_Time_Slot_Data;

/** Opens the store of options and returns operation(store). */
template <typename T, typename Operation>
int withStoreOf(const DbOptions& options, Operation operation) {
  LMDatabase<T> store(options.table, "", options.file);
  if (store.LMDatabaseInit() != LMDB_SUCCESS) {
    throw std::runtime_error("cannot open " + options.file + " with a table " + options.table +
                             "; see the log for why");
  }
  return operation(store);
}

template <typename Operation>
int withStore(const DbOptions& options, bool create, Operation operation) {
  if (!create && access(options.file.c_str(), R_OK) != 0) {
    throw std::runtime_error("cannot read " + options.file + "; name a database file");
  }
  return options.slots ? withStoreOf<SlotPayload>(options, operation)
                       : withStoreOf<LaunchPayload>(options, operation);
}

void setPayload(LaunchPayload& payload, const std::string& value) {
  const char* const end = value.data() + value.size();
  const auto result = std::from_chars(value.data(), end, payload.launchCount);
  if (result.ec != std::errc() || result.ptr != end) {
    throw std::runtime_error("'" + value + "' is no launch count; give a 32-bit whole number");
  }
}

void setPayload(SlotPayload& payload, const std::string& value) {
  if (value.size() >= sizeof(payload.slotText)) {
    throw std::runtime_error("the slot's text is too long; give at most 4095 bytes");
  }
  payload = {};
  value.copy(payload.slotText, value.size());
}

}  // namespace

std::string tableNameProblem(const std::string& text) {
  const auto isPart = [](unsigned char c) { return std::isalnum(c) != 0 || c == '_'; };
  const bool good = !text.empty() && std::isdigit(static_cast<unsigned char>(text.front())) == 0 &&
                    std::all_of(text.begin(), text.end(), isPart);
  return good ? "" : "a table's name is letters, digits and underscores";
}

std::string keyTextProblem(const std::string& text) {
  return text.find('\'') == std::string::npos ? "" : "a quote cannot be part of a key";
}

int dbDump(const DbOptions& options, Console& console) {
  return withStore(options, false, [&](auto& store) {
    const Rows rows = readRows(store, options.key);
    if (options.json) {
      printJson(rows, console.out);
    } else {
      printTable(rows, console.out);
    }
    if (rows.size() == static_cast<std::size_t>(kMaxRowsPerRead)) {
      console.err << "lmctl: a read ends after " << rows.size()
                  << " rows; name a key to see others\n";
    }
    return kSuccess;
  });
}

int dbPut(const DbOptions& options, Console&) {
  return withStore(options, true, [&](auto& store) {
    using Row = typename std::remove_reference_t<decltype(store)>::Row;
    auto row = std::make_unique<Row>();
    row->intcol1 = options.key.intcol1;
    row->appName = options.key.appName;
    row->rsvdName = options.key.rsvdName;
    setPayload(row->payload, options.value);
    {
      std::lock_guard lock(store.mRowCacheLck);
      store.mRowCache.push_back(nullptr);  // may throw, while row is still owned
      store.mRowCache.back() = row.release();
    }
    store.LMDatabaseWriteCachedToDisk();  // its result does not tell of the row
    if (sqlite3_total_changes(store.mDb) == 0) {
      throw std::runtime_error("the row was not written; see the log for why");
    }
    return kSuccess;
  });
}

int dbDelete(const DbOptions& options, Console& console) {
  return withStore(options, false, [&](auto& store) {
    LMDBDataRowKey key = options.key;
    const int deleted = store.deleteAllDR(key);
    if (deleted < 0) {
      throw std::runtime_error("nothing was deleted; see the log for why");
    }
    if (options.json) {
      printJson({{"deleted", deleted}}, console.out);
    } else {
      console.out << "deleted " << deleted << "\n";
    }
    return kSuccess;
  });
}
