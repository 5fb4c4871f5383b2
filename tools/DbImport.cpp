#include <chrono>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <iterator>
#include <optional>
#include <set>
#include <sstream>
#include <vector>

#include "ConfigOverrides.h"
#include "Progress.h"
#include "Rows.h"
#include "StoreAccess.h"

namespace {

constexpr std::size_t kBatch = 1000;
constexpr int kBusyLimitMs = 1000;  // the table's own program may be writing, too

using Batch = std::vector<RowText>;
using RowIds = std::set<std::int64_t>;

std::string readText(const std::string& from) {
  std::ifstream file;
  if (from != "-") {
    if (const std::string problem = accessProblem(from, R_OK); !problem.empty()) {
      throw std::runtime_error(problem + "; name a file with rows");
    }
    file.open(from, std::ios::binary);
  }
  std::istream& stream = from == "-" ? std::cin : file;
  return {std::istreambuf_iterator<char>(stream), {}};
}

/** How far reader came in its text of size bytes. */
std::string progressText(const char* done, std::size_t rows, const RowReader& reader,
                         std::size_t size, Clock::time_point begin) {
  const std::chrono::duration<double> passed = Clock::now() - begin;
  std::ostringstream line;
  line << done << " " << rows << " rows   " << std::fixed << std::setprecision(0)
       << static_cast<double>(rows) / passed.count() << " rows/s   "
       << 100 * reader.position() / size << "%";
  return line.str();
}

/** Reads all rows; returns how many. */
std::size_t checkRows(RowReader& reader, std::size_t size, WorkProgress& progress) {
  const Clock::time_point begin = Clock::now();
  std::size_t rows = 0;
  for (Batch batch = reader.nextRows(kBatch); !batch.empty(); batch = reader.nextRows(kBatch)) {
    rows += batch.size();
    if (!progress.update([&] { return progressText("checked", rows, reader, size, begin); })) {
      throw std::runtime_error("stopped; nothing was written");
    }
  }
  return rows;
}

/**
 * Writes a batch; returns how many rows are in the table. Each write is of rows that set the same
 * fields: one that does not set a field would get it from the row before.
 */
template <typename Store>
std::size_t writeBatch(Store& store, const Batch& batch) {
  std::size_t written = 0;
  for (const bool hasInt : {false, true}) {
    for (const bool hasRsvd : {false, true}) {
      for (const RowText& row : batch) {
        if ((row.intcol1 != kNoIntcol1) == hasInt && !row.rsvdName.empty() == hasRsvd) {
          cacheRow(store, row);
        }
      }
      written += writeCached(store);
    }
  }
  return written;
}

template <typename Store>
void writeRows(Store& store, RowReader& reader, std::size_t size, std::size_t total,
               WorkProgress& progress) {
  const Clock::time_point begin = Clock::now();
  std::size_t rows = 0;
  const auto rowsOfTotal = [&] {
    return std::to_string(rows) + " of " + std::to_string(total) + " rows were written";
  };
  for (Batch batch = reader.nextRows(kBatch); !batch.empty(); batch = reader.nextRows(kBatch)) {
    const std::size_t written = writeBatch(store, batch);
    rows += written;
    if (written < batch.size()) {
      throw std::runtime_error("only " + rowsOfTotal() + "; see the log for why");
    }
    const bool goOn =
        progress.update([&] { return progressText("put", rows, reader, size, begin); });
    if (!goOn && rows < total) {
      throw std::runtime_error("stopped; " + rowsOfTotal());
    }
  }
}

template <typename Store>
RowIds rowIds(Store& store) {
  RowIds ids;
  const auto select = lmsupport::SqlCalls(store.mDb, store.mTableName)
                          .prepare("SELECT rowid FROM " + store.mTableName, lmsupport::kSqlError);
  while (select != nullptr && sqlite3_step(select.get()) == SQLITE_ROW) {
    ids.insert(sqlite3_column_int64(select.get(), 0));
  }
  return ids;
}

}  // namespace

int dbPutRows(const DbOptions& options, Console& console) {
  const std::string text = readText(options.from);
  const StopSignals signals;
  const Clock::time_point begin = Clock::now();
  WorkProgress progress(console, signals);
  std::optional<RowIds> known;
  if (options.update) {
    requireTable(options);
    withStore(options, [&](auto& store) {
      known = rowIds(store);
      return kSuccess;
    });
  }
  const RowForm form = {.source = options.from != "-" ? options.from : "standard input",
                        .slots = options.slots,
                        .rowIds = known};
  const std::size_t total = checkRows(*RowReader::make(text, form), text.size(), progress);
  return withStore(options, [&](auto& store) {
    sqlite3_busy_timeout(store.mDb, kBusyLimitMs);
    writeRows(store, *RowReader::make(text, form), text.size(), total, progress);
    progress.erase();
    if (options.json) {
      printJson({{"put", total}}, console.out);
      return kSuccess;
    }
    const std::chrono::duration<double> passed = Clock::now() - begin;
    console.out << "put " << total << " rows in " << std::fixed << std::setprecision(1)
                << passed.count() << " s\n";
    return kSuccess;
  });
}
