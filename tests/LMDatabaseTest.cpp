#include "LMDatabase.h"

#include "testing/BackgroundCall.h"
#include "testing/FailingNew.h"
#include "testing/Hooks.h"
#include "testing/StoreFixture.h"

using testing::ElementsAre;
using testing::IsEmpty;
using namespace std::string_literals;

namespace {

/** What operation returns while its nth allocation fails; with 0 none does. */
template <typename Operation>
auto withoutMemory(int nth, Operation operation) {
  failingnew::gThrowing = nth;
  auto result = operation();
  failingnew::gThrowing = 0;
  return result;
}

/** The line of an operation that an allocation failed in. */
std::string caught(const std::string& operation) {
  return "LMDB: " + operation + "() Caught exception: std::bad_alloc in " + operation;
}

class RowStore : public StoreFixture {
 protected:
  RowStore() { EXPECT_EQ(mStore.LMDatabaseInit(), LMDB_SUCCESS); }

  static int remove(LaunchStore& store, LMDBDataRowKey key = {}) { return store.deleteAllDR(key); }

  LaunchStore mStore{"t", mDirectory, "store.db"};
};

TEST_F(RowStore, RowsAreInTheFileAsPlainSqliteReadsAndWritesThem) {
  add(mStore, {.appName = "it's \"ü\"\n", .payload = {-2}});
  add(mStore, {.intcol1 = -5, .appName = "b", .rsvdName = "r", .payload = {0x01020304}});
  failingnew::gUnfreed = mStore.mRowCache.front();
  EXPECT_EQ(mStore.LMDatabaseWriteCachedToDisk(), LMDB_SUCCESS);
  EXPECT_EQ(failingnew::gUnfreed.load(), nullptr) << "the row";
  EXPECT_THAT(query("SELECT rowid, intcol1, appName, rsvdName, hex(blob) FROM t"),
              ElementsAre("1|-|it's \"ü\"\n|-|FEFFFFFF|", "2|-5|b|r|04030201|"));

  constexpr std::int64_t kTooLong = (1LL << 32) + 2;  // bound with 32 bits, so updates row 2
  add(mStore, {.rowId = kTooLong, .intcol1 = 7, .appName = "c", .payload = {9}});
  EXPECT_EQ(mStore.writeCachedDRToDisk(), LMDB_SUCCESS);
  query("INSERT INTO t VALUES (0, 'short', null, x'05'), ('no number', 'none', 'r', null)");
  EXPECT_THAT(read(mStore), ElementsAre("1 2147483647 it's \"ü\"\n  -2", "2 7 c  9", "3 0 short  5",
                                        "4 0 none r 0"));
  EXPECT_THAT(mLog.texts(), IsEmpty());
}

TEST_F(RowStore, SkippedBindingsKeepTheValueOfTheRowBefore) {
  add(mStore, {.payload = {0}});  // the first has nothing to keep: no name, no row
  add(mStore, {.intcol1 = 3, .appName = "x", .rsvdName = "y", .payload = {1}});
  add(mStore, {.payload = {2}});
  EXPECT_EQ(mStore.writeCachedDRToDisk(), LMDB_SUCCESS);
  EXPECT_THAT(read(mStore), ElementsAre("1 3 x y 1", "2 3 x y 2"));
  add(mStore, {.rowId = 1, .intcol1 = 4, .appName = "u", .rsvdName = "v", .payload = {5}});
  add(mStore, {.rowId = 2, .payload = {6}});
  EXPECT_EQ(mStore.writeCachedDRToDisk(), LMDB_SUCCESS);
  EXPECT_THAT(read(mStore), ElementsAre("1 4 u v 5", "2 4 u v 6"));
  const std::string refused = "writeCachedDRToDisk() sql:ERROR:Dbt=t info=19\n";  // by two calls
  EXPECT_THAT(mLog.texts(), ElementsAre(refused, refused));
}

TEST_F(RowStore, KeysSelectByTheirSetFieldsWithTextsAsTheyAre) {
  for (const char* const app : {"a", "b", "b"}) {
    add(mStore, {.intcol1 = 1, .appName = app, .rsvdName = "r", .payload = {0}});
  }
  mStore.writeCachedDRToDisk();
  using Case = std::tuple<LMDBDataRowKey, std::string, std::size_t>;
  for (auto [key, where, rows] :
       {Case{{1, "a", "r"}, "(appName,rsvdName,intcol1) = ('a','r',1) ", 1},
        Case{{.intcol1 = -1}, "(intcol1) = (-1) ", 0},
        Case{{.rsvdName = "r') OR ('1') = ('1"}, "(rsvdName) = ('r') OR ('1') = ('1') ", 3}}) {
    EXPECT_EQ(read(mStore, key).size(), rows) << where;
    EXPECT_EQ(gSql.back(), "SELECT *, rowid FROM t WHERE " + where);
    std::string query = "begin ";
    LaunchStore::build_query_for_where_clause(key, query);
    EXPECT_EQ(query, "begin WHERE " + where);
  }
  EXPECT_THAT(mLog.texts(), IsEmpty());
  EXPECT_THAT(read(mStore, {.appName = "it's"}), IsEmpty());
  EXPECT_EQ(remove(mStore, {.appName = "it's"}), -1);
  const std::string syntax = "() sql:ERROR:Dbt=t info=near \"s\": syntax error\n";
  EXPECT_THAT(mLog.texts(), ElementsAre("readAllocateDR" + syntax, "deleteAllDR" + syntax));
  EXPECT_EQ(remove(mStore, {.appName = "b"}), 2);
  EXPECT_EQ(remove(mStore), 1);
}

TEST_F(RowStore, ABoundedCopyIsAsLongAsTheShorterSide) {
  char copy[] = "....";
  EXPECT_EQ(LaunchStore::LMDB_memscpy(copy, 2, "abc", 3), 2u);
  EXPECT_EQ(LaunchStore::LMDB_memscpy(copy, 4, "x", 1), 1u);
  EXPECT_STREQ(copy, "xb..");
}

TEST_F(RowStore, SendsTheseTextsInThisOrder) {
  mStore.writeCachedDRToDisk();
  read(mStore);
  remove(mStore, {.appName = "a"});
  LaunchStore memory("m", "", "");
  memory.openLMdb();
  const std::string columns = "(intcol1 INTEGER, appName TEXT NOT null, rsvdName TEXT, blob BLOB)";
  EXPECT_THAT(
      gSql,
      ElementsAre("PRAGMA journal_mode=WAL", "CREATE TABLE IF NOT EXISTS t" + columns,
                  "INSERT INTO t(intcol1, appName, rsvdName, blob) VALUES (?,?,?,?)",
                  "UPDATE t SET (intcol1, appName, rsvdName, blob) = (?,?,?,?) WHERE (rowid) = (?)",
                  "BEGIN IMMEDIATE TRANSACTION;", "COMMIT TRANSACTION;", "SELECT *, rowid FROM t ",
                  "DELETE FROM t WHERE (appName) = ('a') ",
                  "CREATE TABLE IF NOT EXISTS m" + columns));
}

/** Two rows are cached, or but for a write in the table, before a call of SQLite fails. */
TEST_F(RowStore, AFailedCallIsLoggedAndEndsAReadOrDeletionButNotAWrite) {
  const auto run = [](const std::string& operation, LaunchStore& store) -> int {
    if (operation == "update") {
      add(store, {.rowId = 1, .appName = "c", .payload = {3}});
    }
    if (operation == "write" || operation == "update") {
      return store.LMDatabaseWriteCachedToDisk();
    }
    return operation == "read" ? static_cast<int>(read(store).size()) : remove(store);
  };
  struct Case {
    std::string operation;
    std::string call;
    int nth;
    int result;
    std::size_t cached;
    std::size_t written;
    std::vector<std::string> lines;
  };
  const std::string refused = "writeCachedDRToDisk() ERROR:Dbt=t info=not an error\n";
  const std::string writing = "writeCachedDRToDisk() sql:ERROR:Dbt=t info=";
  const std::string noRollBack = writing + "cannot rollback - no transaction is active\n";
  const std::string noCommit = writing + "cannot commit - no transaction is active\n";
  const std::string reading = "readAllocateDR() sql:ERROR:Dbt=t info=";
  const std::string removal = "deleteAllDR() sql:ERROR:Dbt=t info=";
  const std::string text = "not an error\n";
  const std::string code = "10\n";
  const Case cases[] = {
      {"write", "prepare", 1, LMDB_FAILURE, 2, 0, {refused}},
      {"write", "prepare", 2, LMDB_FAILURE, 2, 0, {refused}},
      {"write", "BEGIN", 1, LMDB_SUCCESS, 0, 2, {writing + text, noRollBack, noCommit, noRollBack}},
      {"write", "bind_int", 1, LMDB_SUCCESS, 0, 2, {writing + code}},
      {"write", "bind_text", 2, LMDB_SUCCESS, 0, 2, {writing + code}},
      {"write", "bind_blob", 2, LMDB_SUCCESS, 0, 2, {writing + code}},
      {"write", "step", 1, LMDB_SUCCESS, 0, 2, {writing + code}},
      {"write", "reset", 2, LMDB_SUCCESS, 0, 2, {writing + code}},
      {"write", "COMMIT", 1, LMDB_SUCCESS, 0, 0, {writing + text}},
      {"write", "finalize", 1, LMDB_FAILURE, 0, 2, {writing + code}},
      {"write", "finalize", 2, LMDB_FAILURE, 0, 2, {writing + code}},
      {"update", "bind_int", 1, LMDB_SUCCESS, 0, 2, {writing + code}},
      {"read", "prepare", 1, 0, 0, 2, {reading + text}},
      {"read", "step", 1, 0, 0, 2, {}},
      {"read", "step", 2, 1, 0, 2, {}},
      {"read", "reset", 1, 2, 0, 2, {reading + code}},
      {"read", "finalize", 1, 2, 0, 2, {reading + code}},
      {"deletion", "prepare", 1, -1, 0, 2, {removal + text}},
      {"deletion", "step", 1, -1, 0, 0, {removal + code}},
      {"deletion", "finalize", 1, 2, 0, 0, {removal + code}},
  };
  for (const auto& [operation, call, nth, result, cached, written, lines] : cases) {
    SCOPED_TRACE(operation + ", " + call + " " + std::to_string(nth));
    LaunchStore store("t", "", "");
    store.openLMdb();
    add(store, {.intcol1 = 1, .appName = "a", .payload = {1}});
    add(store, {.intcol1 = 2, .appName = "b", .payload = {2}});
    if (operation != "write") {
      store.writeCachedDRToDisk();
    }
    const LogCapture log;
    hooks::failCall(call, nth);
    EXPECT_EQ(run(operation, store), result);
    EXPECT_EQ(log.texts(), lines);
    EXPECT_EQ(store.mRowCache.size(), cached);
    EXPECT_EQ(read(store).size(), written);
  }
}

TEST_F(RowStore, AStoreIsOpenWithoutAWriteAheadLogAndFailsToOpenWithoutATable) {
  using Case = std::tuple<std::string, lmdbError, std::string>;
  for (const auto& [call, result, line] :
       {Case{"PRAGMA", LMDB_SUCCESS, "openLMdb() sql:ERROR:Dbt=" + mDirectory + "store.db"},
        Case{"CREATE", LMDB_FAILURE, "createLMdbTables() ERROR:Dbt=t"}}) {
    const LogCapture log;
    LaunchStore store("t", mDirectory, "store.db");
    hooks::failCall(call);
    EXPECT_EQ(store.openLMdb(), result);
    EXPECT_NE(store.mDb, nullptr);
    EXPECT_THAT(log.texts(), ElementsAre(line + " info=not an error\n"));
  }
}

TEST_F(RowStore, MemoryThatRunsOutAnywhereLosesNoRow) {
  LaunchStore store("tt", mDirectory, "store.db");  // its query needs no memory, the clause does
  store.openLMdb();
  add(store, {.appName = "first", .payload = {0}});
  store.writeCachedDRToDisk();
  for (int nth = 1; nth < 40; ++nth) {
    SCOPED_TRACE(nth);
    add(store, {.appName = std::string(100, 'n'), .payload = {1}});
    const lmdbError written = withoutMemory(nth, [&] { return store.writeCachedDRToDisk(); });
    EXPECT_EQ(written, LMDB_SUCCESS);
    // Without its clause, the deletion would empty the table.
    const int deleted = withoutMemory(nth, [&] { return remove(store, {.appName = "not there"}); });
    EXPECT_THAT(deleted, testing::AnyOf(0, -1));
    const std::size_t logged = mLog.texts().size();
    LMDBDataRowKey everything;
    const lmsupport::Owned<LaunchStore::vecT> rows(withoutMemory(
        nth, [&] { return store.readAllocateDR(everything, 0, LMDB_COL_ROWID, LMDB_ASCENDING); }));
    EXPECT_EQ(rows.empty(), mLog.texts().size() > logged);
  }
  store.writeCachedDRToDisk();
  EXPECT_EQ(read(store).size(), 40u);  // each was kept in the cache or written
  EXPECT_THAT(mLog.texts(),
              testing::IsSupersetOf(
                  {caught("writeCachedDRToDisk"), caught("readAllocateDR"), caught("deleteAllDR"),
                   "LMDB: build_query_for_where_clause() Caught exception: std::bad_alloc"s}));
}

TEST_F(RowStore, WithoutMemoryForThePathAStoreStaysClosedWithoutMemoryForTheTableItIsOpen) {
  for (int nth = 1; nth < 10; ++nth) {
    LaunchStore store("t", mDirectory, "store.db");
    const lmdbError result = withoutMemory(nth, [&] { return store.openLMdb(); });
    EXPECT_EQ(result == LMDB_SUCCESS, store.mDb != nullptr) << nth;
  }
  EXPECT_THAT(mLog.texts(),
              testing::IsSupersetOf({caught("openLMdb"), caught("createLMdbTables")}));
}

TEST_F(RowStore, WithoutMemoryForARowAReadIsCutShort) {
  add(mStore, {.intcol1 = 0, .appName = "a", .payload = {1}});
  add(mStore, {.intcol1 = 0, .appName = "a", .payload = {2}});
  mStore.writeCachedDRToDisk();
  failingnew::gNothrow = 2;
  EXPECT_THAT(read(mStore), ElementsAre("1 0 a  1"));
  EXPECT_THAT(mLog.texts(),
              ElementsAre("LMDB: getRow() ERROR:Dbt=t new operator failure, allocated=0\n"));
}

TEST_F(RowStore, NoRowAndARowWithoutMemoryAreNotCached) {
  EXPECT_EQ(mStore.cacheRow(nullptr), LMDB_FAILURE);
  auto row = std::make_unique<LaunchStore::Row>();
  EXPECT_EQ(withoutMemory(1, [&] { return mStore.cacheRow(std::move(row)); }), LMDB_FAILURE);
  EXPECT_THAT(mStore.mRowCache, IsEmpty());
  EXPECT_THAT(mLog.texts(), ElementsAre(caught("cacheRow")));
}

TEST_F(RowStore, AStoreThatCannotBeOpenedKeepsItsCacheAndReportsItAtItsEnd) {
  {
    LaunchStore store("t", mDirectory, ".");  // a folder
    hooks::failCall("close");
    EXPECT_EQ(store.LMDatabaseInit(), LMDB_FAILURE);
    add(store, {.appName = "a", .payload = {1}});
    EXPECT_EQ(store.writeCachedDRToDisk(), LMDB_SUCCESS);
    EXPECT_EQ(store.mRowCache.size(), 1u);
    EXPECT_THAT(read(store), IsEmpty());
    EXPECT_EQ(remove(store), 0);
    EXPECT_EQ(store.closeLMdb(), LMDB_SUCCESS);
  }
  EXPECT_THAT(
      mLog.texts(),
      ElementsAre("LMDB: openLMdb() ERROR:Db=" + mDirectory + ". sql open failed, err=14\n",
                  "LMDB: closeLMdb() ERROR:Db=" + mDirectory + ". sql close failed, err=10\n",
                  "LMDB: ~LMDBDataTable() ERROR:Dbt=t blstSz=0, clstSz=1\n"));
}

TEST_F(RowStore, TheCacheIsGuardedByItsLock) {
  EXPECT_TRUE(
      waitsFor(mStore.mRowCacheLck, [&] { add(mStore, {.appName = "a", .payload = {1}}); }));
  EXPECT_TRUE(waitsFor(mStore.mRowCacheLck, [&] { mStore.writeCachedDRToDisk(); }));
  EXPECT_EQ(read(mStore).size(), 1u);
  auto closed = std::make_unique<LaunchStore>("t", "", "");  // whose end writes nothing
  EXPECT_TRUE(waitsFor(closed->mRowCacheLck, [&] { closed.reset(); }));
}

TEST_F(RowStore, AReadStopsAt10000Rows) {
  query(
      "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 10001) "
      "INSERT INTO t SELECT i, 'a', null, x'01020304' FROM n");
  EXPECT_EQ(read(mStore).size(), 10000u);
}

TEST_F(RowStore, DestructionWritesAndCloses) {
  {
    LaunchStore store("t", mDirectory, "store.db");
    store.openLMdb();
    add(store, {.appName = "a", .payload = {1}});
    hooks::failCall("close");  // so that it is logged
  }
  EXPECT_EQ(read(mStore).size(), 1u);
  EXPECT_THAT(mLog.texts(), ElementsAre("LMDB: closeLMdb() ERROR:Db=" + mDirectory +
                                        "store.db sql close failed, err=10\n"));
}

TEST_F(RowStore, ACloseKeepsTheHandle) {
  LaunchStore store("t", mDirectory, "store.db");
  const std::string failed =
      "LMDB: closeLMdb() ERROR:Db=" + mDirectory + "store.db sql close failed";
  using Case = std::tuple<const char*, int, lmdbError, std::vector<std::string>>;
  for (const auto& [call, nthAllocation, result, lines] :
       {Case{"", 0, LMDB_SUCCESS, {}}, Case{"close", 0, LMDB_FAILURE, {failed + ", err=10\n"}},
        Case{"close", 1, LMDB_FAILURE, {caught("closeLMdb")}}}) {
    const LogCapture log;
    store.openLMdb();
    hooks::failCall(call);
    const lmdbError closed = withoutMemory(nthAllocation, [&] { return store.closeLMdb(); });
    EXPECT_EQ(closed, result);
    EXPECT_NE(std::exchange(store.mDb, nullptr), nullptr);  // a stale handle is not destroyed
    EXPECT_EQ(log.texts(), lines);
  }
}

}  // namespace
