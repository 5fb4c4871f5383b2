#include "DbCommands.h"

#include <algorithm>
#include <cctype>
#include <ostream>
#include <stdexcept>

#include "Rows.h"
#include "StoreAccess.h"

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
      console.beginError() << "a read ends after " << rows.size()
                           << " rows; name a key to see others\n";
    }
    return kSuccess;
  });
}

int dbPut(const DbOptions& options, Console& console) {
  if (!options.from.empty()) {
    return dbPutRows(options, console);
  }
  if (const std::string problem = payloadProblem(options.value, options.slots); !problem.empty()) {
    throw std::runtime_error(problem);
  }
  return withStore(options, true, [&](auto& store) {
    cacheRow(store, {.intcol1 = options.key.intcol1,
                     .appName = options.key.appName,
                     .rsvdName = options.key.rsvdName,
                     .payload = options.value});
    if (writeCached(store) == 0) {
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
