#include <SQLiteCpp/SQLiteCpp.h>
#include <SQLiteCpp/VariadicBind.h>
#include <sqlite3.h>

#include <cstring>
#include <deque>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "Allocations.h"
#include "FetchPreferredApps.h"
#include "HostCore.h"
#include "LMDatabase.h"
#include "Ratios.h"
#include "config/DynamicLoader.h"
#include "testing/Clock.h"
#include "testing/TemporaryFolder.h"

namespace {

using Launched = _preKill_User_Launched_Data;
using TimeSlot = _preKill_Favorite_Time_Slot_Data;

constexpr std::size_t kRowCount = 10000;
constexpr char kFileName[] = "/rows.db";
constexpr char kSetUp[] =
    "PRAGMA journal_mode=WAL; CREATE TABLE IF NOT EXISTS rows"
    "(intcol1 INTEGER, appName TEXT NOT null, rsvdName TEXT, blob BLOB)";
constexpr char kInsert[] = "INSERT INTO rows(intcol1, appName, rsvdName, blob) VALUES (?,?,?,?)";
constexpr char kUpdate[] =
    "UPDATE rows SET (intcol1, appName, rsvdName, blob) = (?,?,?,?) WHERE (rowid) = (?)";
constexpr char kSelect[] = "SELECT *, rowid FROM rows ";

void require(bool held, const char* what) {
  if (!held) {
    throw std::runtime_error(what);
  }
}

/** A row as the other stores hold it. */
template <typename T>
struct PlainRow : LMDBDataRow<T> {
  PlainRow(std::int64_t id, int number, std::string app, std::string rsvd, const void* blob) {
    this->rowId = id;
    this->intcol1 = number;
    this->appName = std::move(app);
    this->rsvdName = std::move(rsvd);
    std::memcpy(&this->payload, blob, sizeof(T));
  }
};

std::string appNameOf(std::size_t i) { return "com.example.application" + std::to_string(i); }

template <typename T>
std::vector<PlainRow<T>> makeRows(std::size_t count) {
  const std::string blob(sizeof(T), 'a');
  std::vector<PlainRow<T>> rows;
  rows.reserve(count);
  for (std::size_t i = 0; i < count; ++i) {
    rows.emplace_back(0, static_cast<int>(i), appNameOf(i),
                      "com.example.launcher" + std::to_string(i), blob.data());
  }
  return rows;
}

// The stores: write() writes what prepare() was given, read() returns all rows or an application's.

template <typename T>
class OurStore {
 public:
  OurStore() { require(mDatabase.LMDatabaseInit() == LMDB_SUCCESS, "LMDatabaseInit"); }

  void prepare(const std::vector<PlainRow<T>>& rows) {
    for (const PlainRow<T>& plain : rows) {
      std::unique_ptr<LMDBDataRow<T>> row(mDatabase.getRow());
      require(row != nullptr, "getRow");
      *row = plain;
      require(mDatabase.cacheRow(std::move(row)) == LMDB_SUCCESS, "cacheRow");
    }
  }

  void write() { require(mDatabase.writeCachedDRToDisk() == LMDB_SUCCESS, "write"); }

  auto read(const std::string& appName = {}) {
    LMDBDataRowKey key{.appName = appName};
    return lmsupport::Owned<typename LMDatabase<T>::vecT>(
        mDatabase.readAllocateDR(key, kRowCount, LMDB_COL_ROWID, LMDB_ASCENDING));
  }

  LMDatabase<T>* database() { return &mDatabase; }

 private:
  const TemporaryFolder mFolder;
  LMDatabase<T> mDatabase{"rows", mFolder.path(), kFileName};
};

/** The limit: only SQLite's calls. */
template <typename T>
class BareStore {
 public:
  BareStore() {
    require(sqlite3_open((mFolder.path() + kFileName).c_str(), &mDb) == SQLITE_OK, "open");
    execute(kSetUp);
  }
  ~BareStore() { sqlite3_close(mDb); }

  void prepare(std::vector<PlainRow<T>> rows) { mRows = std::move(rows); }

  void write() {
    sqlite3_stmt* const insert = statement(kInsert);
    sqlite3_finalize(statement(kUpdate));  // our store prepares it too, as it may need it
    execute("BEGIN IMMEDIATE TRANSACTION;");
    for (const PlainRow<T>& row : mRows) {
      if (row.intcol1 != kNoIntcol1) {
        sqlite3_bind_int(insert, 1, row.intcol1);
      }
      sqlite3_bind_text(insert, 2, row.appName.c_str(), -1, SQLITE_STATIC);
      if (!row.rsvdName.empty()) {
        sqlite3_bind_text(insert, 3, row.rsvdName.c_str(), -1, SQLITE_STATIC);
      }
      sqlite3_bind_blob(insert, 4, &row.payload, sizeof(T), SQLITE_STATIC);
      require(sqlite3_step(insert) == SQLITE_DONE, "insert");
      sqlite3_reset(insert);
    }
    execute("COMMIT TRANSACTION;");
    sqlite3_finalize(insert);
  }

  /** Into a deque: a vector moves large rows for longer than SQLite takes to read them. */
  std::deque<PlainRow<T>> read(const std::string& appName = {}) {
    const std::string where = appName.empty() ? "" : "WHERE (appName) = ('" + appName + "') ";
    sqlite3_stmt* const select = statement(kSelect + where);
    std::deque<PlainRow<T>> rows;
    while (sqlite3_step(select) == SQLITE_ROW) {
      rows.emplace_back(sqlite3_column_int64(select, 4), sqlite3_column_int(select, 0),
                        text(select, 1), text(select, 2), sqlite3_column_blob(select, 3));
    }
    sqlite3_finalize(select);
    return rows;
  }

  void execute(const char* sql) {
    require(sqlite3_exec(mDb, sql, nullptr, nullptr, nullptr) == SQLITE_OK, sql);
  }

 private:
  sqlite3_stmt* statement(const std::string& sql) {
    sqlite3_stmt* statement = nullptr;
    require(sqlite3_prepare_v2(mDb, sql.c_str(), -1, &statement, nullptr) == SQLITE_OK, "prepare");
    return statement;
  }

  static const char* text(sqlite3_stmt* select, int column) {
    const auto* const found = reinterpret_cast<const char*>(sqlite3_column_text(select, column));
    return found == nullptr ? "" : found;
  }

  const TemporaryFolder mFolder;
  sqlite3* mDb = nullptr;
  std::vector<PlainRow<T>> mRows;
};

/** What a user would pick otherwise. */
template <typename T>
class CppStore {
 public:
  CppStore() { mDb.exec(kSetUp); }

  void prepare(std::vector<PlainRow<T>> rows) { mRows = std::move(rows); }

  void write() {
    SQLite::Statement insert(mDb, kInsert);
    SQLite::Transaction transaction(mDb, SQLite::TransactionBehavior::IMMEDIATE);
    for (const PlainRow<T>& row : mRows) {
      SQLite::bind(insert, row.intcol1, row.appName, row.rsvdName);
      insert.bind(4, &row.payload, sizeof(T));
      insert.exec();
      insert.reset();
    }
    transaction.commit();
  }

  std::vector<PlainRow<T>> read() {
    SQLite::Statement select(mDb, kSelect);
    std::vector<PlainRow<T>> rows;
    while (select.executeStep()) {
      rows.emplace_back(select.getColumn(4).getInt64(), select.getColumn(0).getInt(),
                        select.getColumn(1).getString(), select.getColumn(2).getString(),
                        select.getColumn(3).getBlob());
    }
    return rows;
  }

 private:
  const TemporaryFolder mFolder;
  SQLite::Database mDb{mFolder.path() + kFileName, SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE};
  std::vector<PlainRow<T>> mRows;
};

/** A store with rows in its file. */
template <template <typename> typename Store, typename T>
struct FilledStore : Store<T> {
  explicit FilledStore(std::size_t count) {
    this->prepare(makeRows<T>(count));
    this->write();
  }
};

/** Times work, but not the release of what it returns. */
template <typename Work>
auto timeOnce(benchmark::State& state, Work work) {
  struct Timer {
    ~Timer() { to.SetIterationTime(toSeconds(Clock::now() - begin)); }
    benchmark::State& to;
    const Clock::time_point begin = Clock::now();
  } const timer{state};
  return work();
}

template <template <typename> typename Store, typename T>
void write(benchmark::State& state) {
  const auto rows = makeRows<T>(kRowCount);
  for (auto _ : state) {
    Store<T> store;
    store.prepare(rows);
    timeOnce(state, [&] { store.write(); });
  }
}

template <template <typename> typename Store, typename T>
void read(benchmark::State& state) {
  FilledStore<Store, T> store(kRowCount);
  require(store.read().size() == kRowCount, "read");  // also warms up
  for (auto _ : state) {
    const auto rows = timeOnce(state, [&] { return store.read(); });
  }
}

/** Reads one row of a table of a given size. */
void readByName(benchmark::State& state) {
  const auto count = static_cast<std::size_t>(state.range(0));
  FilledStore<OurStore, Launched> store(count);
  const std::string appName = appNameOf(count / 2);
  for (auto _ : state) {
    require(store.read(appName).size() == 1, "read");
  }
}

constexpr std::size_t kSlotCount = 8;
constexpr std::size_t kAppCount = 200;

std::string slotText(std::size_t slot) {
  std::string text;
  for (std::size_t i = slot; i < kAppCount; i += kSlotCount) {
    text += appNameOf(i) + '/';
  }
  return text;
}

template <template <typename> typename Store>
struct Favourites {
  Store<Launched> launches;
  FilledStore<Store, Launched> history{kAppCount};
  Store<TimeSlot> slots;
};

void populate(Favourites<OurStore>& ours) {
  FetchPreferredApps().populateFavoriteApps(ours.launches.database(), ours.history.database(),
                                            ours.slots.database());
}

/** The limit: the same SQL, with the favourites already split. */
void populate(Favourites<BareStore>& bare) {
  const auto launches = bare.launches.read();
  const auto slots = bare.slots.read();
  if (!launches.empty() || !slots.empty()) {
    bare.launches.execute("DELETE FROM rows ");
    bare.slots.execute("DELETE FROM rows ");
  }
  for (std::size_t i = 0; i < kSlotCount; ++i) {
    TimeSlot slot{};
    slotText(i).copy(slot.slotText, sizeof(slot.slotText) - 1);
    bare.slots.prepare({{0, kNoIntcol1, "week_day_" + std::to_string(i), "", &slot}});
    bare.slots.write();
  }
  for (std::size_t i = 0; i < kAppCount; ++i) {
    const auto history = bare.history.read(appNameOf(i));
    bare.launches.prepare({{0, kNoIntcol1, appNameOf(i), "", &history.front().payload}});
    bare.launches.write();
  }
}

/** Replaces favourites that are there already. */
template <template <typename> typename Store>
void populateAgain(benchmark::State& state) {
  std::string text;
  for (std::size_t slot = 0; slot < kSlotCount; ++slot) {
    text += slotText(slot) + '=';
  }
  hostcore::setText(kPreferredAppsKey, text);
  Favourites<Store> favourites;
  populate(favourites);
  for (auto _ : state) {
    timeOnce(state, [&] { populate(favourites); });
  }
  require(favourites.launches.read().size() == kAppCount, "launches");
  require(favourites.slots.read().size() == kSlotCount, "slots");
}

/** Counts the heap memory of a cached row, with its list node and two texts of 21 to 27 bytes. */
template <typename T>
void cacheRows(benchmark::State& state) {
  const auto rows = makeRows<T>(kRowCount);
  for (auto _ : state) {
    OurStore<T> store;
    const std::size_t before = gHeapBytes;
    timeOnce(state, [&] { store.prepare(rows); });
    state.counters["row_bytes"] = static_cast<double>(gHeapBytes - before) / kRowCount;
  }
}

/** Repetitions of one iteration each, so that the median ignores those that a slow disk delays. */
template <int times>
void repeat(benchmark::internal::Benchmark* benchmark) {
  benchmark->UseManualTime()->Iterations(1)->Repetitions(times)->Unit(benchmark::kMillisecond);
}

BENCHMARK(write<OurStore, Launched>)->Name("writeLMDatabase/4")->Apply(repeat<51>);
BENCHMARK(write<BareStore, Launched>)->Name("writeBareSqlite/4")->Apply(repeat<51>);
BENCHMARK(write<CppStore, Launched>)->Name("writeSqliteCpp/4")->Apply(repeat<51>);
BENCHMARK(write<OurStore, TimeSlot>)->Name("writeLMDatabase/4096")->Apply(repeat<15>);
BENCHMARK(write<BareStore, TimeSlot>)->Name("writeBareSqlite/4096")->Apply(repeat<15>);
BENCHMARK(write<CppStore, TimeSlot>)->Name("writeSqliteCpp/4096")->Apply(repeat<15>);
BENCHMARK(read<OurStore, Launched>)->Name("readLMDatabase/4")->Apply(repeat<51>);
BENCHMARK(read<BareStore, Launched>)->Name("readBareSqlite/4")->Apply(repeat<51>);
BENCHMARK(read<CppStore, Launched>)->Name("readSqliteCpp/4")->Apply(repeat<51>);
BENCHMARK(read<OurStore, TimeSlot>)->Name("readLMDatabase/4096")->Apply(repeat<15>);
BENCHMARK(read<BareStore, TimeSlot>)->Name("readBareSqlite/4096")->Apply(repeat<15>);
BENCHMARK(read<CppStore, TimeSlot>)->Name("readSqliteCpp/4096")->Apply(repeat<15>);
BENCHMARK(readByName)->Arg(100)->Arg(10000)->Arg(100000)->Repetitions(3);
BENCHMARK(populateAgain<OurStore>)->Name("populateFavoriteApps")->Apply(repeat<51>);
BENCHMARK(populateAgain<BareStore>)->Name("populateBareSqlite")->Apply(repeat<51>);
BENCHMARK(cacheRows<Launched>)->Name("cacheRows/4")->Apply(repeat<15>);
BENCHMARK(cacheRows<TimeSlot>)->Name("cacheRows/4096")->Apply(repeat<15>);

}  // namespace

std::vector<Ratio> databaseRatios() {
  return {{"writeLMDatabase/4", "writeBareSqlite/4", "", "<= 1.10"},
          {"writeLMDatabase/4", "writeSqliteCpp/4", "", "< 1"},
          {"writeLMDatabase/4096", "writeBareSqlite/4096", "", "<= 1.10"},
          {"writeLMDatabase/4096", "writeSqliteCpp/4096", "", "< 1"},
          {"readLMDatabase/4", "readBareSqlite/4", "", "<= 1.05"},
          {"readLMDatabase/4", "readSqliteCpp/4", "", "< 1"},
          {"readLMDatabase/4096", "readBareSqlite/4096", "", "<= 1.25"},
          {"readLMDatabase/4096", "readSqliteCpp/4096", "", "< 1"},
          {"readByName/10000", "readByName/100", "", ""},
          {"readByName/100000", "readByName/10000", "", ""},
          {"populateFavoriteApps", "populateBareSqlite", "", "<= 1.10"}};
}
