#include "DbCommands.h"

#include <algorithm>
#include <cctype>
#include <ostream>
#include <stdexcept>

#include "Rows.h"
#include "StoreAccess.h"

namespace {

/** Throws std::runtime_error when a read ended before the last row that matches key. */
template <typename Store>
void requireAll(Store& store, LMDBDataRowKey key, std::size_t read) {
  if (read < static_cast<std::size_t>(kMaxRowsPerRead)) {
    return;
  }
  std::string where;
  store.build_query_for_where_clause(key, where);
  const std::size_t matching = countRows(store.mDb, store.mTableName, where);
  if (matching > read) {
    throw std::runtime_error("only " + std::to_string(read) + " of " + std::to_string(matching) +
                             " rows were read; name a key to see others");
  }
}

}  // namespace

std::string tableNameProblem(const std::string& text) {
  const auto isPart = [](unsigned char c) { return std::isalnum(c) != 0 || c == '_'; };
  const bool good = !text.empty() && std::isdigit(static_cast<unsigned char>(text.front())) == 0 &&
                    std::all_of(text.begin(), text.end(), isPart);
  return good ? "" : "a table's name is letters, digits and underscores";
}

std::string keyTextProblem(const std::string& text) {
  if (text.empty()) {
    return "an empty text cannot be part of a key";
  }
  return text.find('\'') == std::string::npos ? "" : "a quote cannot be part of a key";
}

int dbDump(const DbOptions& options, Console& console) {
  requireTable(options);
  return withStore(options, [&](auto& store) {
    const Rows rows = readRows(store, options.key);
    print(rows, options.json, console.out);
    requireAll(store, options.key, rows.size());
    return kSuccess;
  });
}

int dbPut(const DbOptions& options, Console& console) {
  if (!options.from.empty()) {
    return dbPutRows(options, console);
  }
  return withStore(options, [&](auto& store) {
    cacheRow(store, {.intcol1 = options.key.intcol1,
                     .appName = options.key.appName,
                     .rsvdName = options.key.rsvdName,
                     .payload = options.value});
    if (writeCached(store) == 0) {
      throw std::runtime_error("the row was not written; see the log for why");
    }
    if (options.json) {
      printJson({{"put", 1}}, console.out);
    } else {
      console.out << "put 1\n";
    }
    return kSuccess;
  });
}

int dbDelete(const DbOptions& options, Console& console) {
  requireTable(options);
  // No row's payload is read: any will do.
  return withStoreOf<LaunchPayload>(options, [&](auto& store) {
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
