#include "LMDatabase.h"

#include <sys/mount.h>
#include <unistd.h>

#include <fstream>
#include <future>

#include "testing/FailingNew.h"
#include "testing/PrivateProcess.h"
#include "testing/StoreFixture.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/** What operation returns while the nth allocation from now on fails. */
template <typename Operation>
auto withoutMemory(int nth, Operation operation) {
  failingnew::gThrowing = nth;
  auto result = operation();
  failingnew::gThrowing = 0;
  return result;
}

/** A SQLite call that fails during an operation, and what that leaves of two rows. */
struct FailedCall {
  std::string call;
  int nth;
  int result;
  std::size_t cached;
  std::size_t written;
  std::vector<std::string> lines;
};

class RowStore : public StoreFixture {
 protected:
  RowStore() { EXPECT_EQ(mStore.LMDatabaseInit(), LMDB_SUCCESS); }

  int removeRows(LMDBDataRowKey key = {}) { return mStore.deleteAllDR(key); }

  /** Runs operation with each failure on a store of its own, with the rows cached or written. */
  template <typename Operation>
  static void expectFailures(const std::vector<FailedCall>& cases, bool areWritten,
                             Operation operation) {
    for (const FailedCall& failed : cases) {
      SCOPED_TRACE(failed.call + " " + std::to_string(failed.nth));
      LaunchStore store("t", "", "");
      store.openLMdb();
      add(store, {.intcol1 = 1, .appName = "a", .payload = {1}});
      add(store, {.intcol1 = 2, .appName = "b", .payload = {2}});
      if (areWritten) {
        store.writeCachedDRToDisk();
      }
      const LogCapture log;
      hooks::failCall(failed.call, failed.nth);
      EXPECT_EQ(operation(store), failed.result);
      EXPECT_EQ(log.texts(), failed.lines);
      EXPECT_EQ(store.mRowCache.size(), failed.cached);
      EXPECT_EQ(read(store).size(), failed.written);
    }
  }

  LaunchStore mStore{"t", mDirectory, "store.db"};
};

TEST_F(RowStore, RowsAreInTheFileAsPlainSqliteReadsAndWritesThem) {
  add(mStore, {.appName = "it's \"ü\"\n", .payload = {-2}});
  add(mStore, {.intcol1 = -5, .appName = "b", .rsvdName = "r", .payload = {0x01020304}});
  EXPECT_EQ(mStore.LMDatabaseWriteCachedToDisk(), LMDB_SUCCESS);
  EXPECT_THAT(query("SELECT rowid, intcol1, appName, rsvdName, hex(blob) FROM t"),
              ElementsAre("1|-|it's \"ü\"\n|-|FEFFFFFF|", "2|-5|b|r|04030201|"));
  EXPECT_THAT(query("PRAGMA journal_mode"), ElementsAre("wal|"));

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
  for (const auto& [key, where, rows] :
       {Case{{1, "a", "r"}, "(appName,rsvdName,intcol1) = ('a','r',1) ", 1},
        Case{{.intcol1 = -1}, "(intcol1) = (-1) ", 0},
        Case{{.rsvdName = "r') OR ('1') = ('1"}, "(rsvdName) = ('r') OR ('1') = ('1') ", 3}}) {
    EXPECT_EQ(read(mStore, key).size(), rows) << where;
    EXPECT_EQ(gSql.back(), "SELECT *, rowid FROM t WHERE " + where);
  }
  EXPECT_THAT(mLog.texts(), IsEmpty());
  EXPECT_THAT(read(mStore, {.appName = "it's"}), IsEmpty());
  EXPECT_EQ(removeRows({.appName = "it's"}), -1);
  const std::string syntax = "() sql:ERROR:Dbt=t info=near \"s\": syntax error\n";
  EXPECT_THAT(mLog.texts(), ElementsAre("readAllocateDR" + syntax, "deleteAllDR" + syntax));
  EXPECT_EQ(removeRows({.appName = "b"}), 2);
  EXPECT_EQ(removeRows(), 1);
}

TEST_F(RowStore, SendsTheseTextsInThisOrder) {
  mStore.writeCachedDRToDisk();
  read(mStore);
  removeRows({.appName = "a"});
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

TEST_F(RowStore, AFailedCallIsLoggedAndTheRestOfTheWriteGoesOn) {
  const std::string start = "writeCachedDRToDisk() sql:ERROR:Dbt=t info=";
  const std::string code = start + "10\n";
  const std::string text = start + "not an error\n";
  const std::string refused = "writeCachedDRToDisk() ERROR:Dbt=t info=not an error\n";
  const std::string noRollBack = start + "cannot rollback - no transaction is active\n";
  const std::string noCommit = start + "cannot commit - no transaction is active\n";
  expectFailures(
      {
          {"prepare", 1, LMDB_FAILURE, 2, 0, {refused}},
          {"prepare", 2, LMDB_FAILURE, 2, 0, {refused}},
          {"BEGIN", 1, LMDB_SUCCESS, 0, 2, {text, noRollBack, noCommit, noRollBack}},
          {"bind_int", 1, LMDB_SUCCESS, 0, 2, {code}},
          {"bind_text", 2, LMDB_SUCCESS, 0, 2, {code}},
          {"bind_blob", 2, LMDB_SUCCESS, 0, 2, {code}},
          {"step", 1, LMDB_SUCCESS, 0, 2, {code}},
          {"reset", 2, LMDB_SUCCESS, 0, 2, {code}},
          {"COMMIT", 1, LMDB_SUCCESS, 0, 0, {text}},
          {"finalize", 1, LMDB_FAILURE, 0, 2, {code}},
          {"finalize", 2, LMDB_FAILURE, 0, 2, {code}},
      },
      false, [](LaunchStore& store) { return store.LMDatabaseWriteCachedToDisk(); });
}

TEST_F(RowStore, AFailedCallIsLoggedAndEndsAReadOrDeletion) {
  const std::string reading = "readAllocateDR() sql:ERROR:Dbt=t info=";
  expectFailures(
      {
          {"prepare", 1, 0, 0, 2, {reading + "not an error\n"}},
          {"step", 1, 0, 0, 2, {}},
          {"step", 2, 1, 0, 2, {}},
          {"reset", 1, 2, 0, 2, {reading + "10\n"}},
          {"finalize", 1, 2, 0, 2, {reading + "10\n"}},
      },
      true, [](LaunchStore& store) { return static_cast<int>(read(store).size()); });
  const std::string removal = "deleteAllDR() sql:ERROR:Dbt=t info=";
  expectFailures(
      {
          {"prepare", 1, -1, 0, 2, {removal + "not an error\n"}},
          {"step", 1, -1, 0, 0, {removal + "10\n"}},
          {"finalize", 1, 2, 0, 0, {removal + "10\n"}},
      },
      true, [](LaunchStore& store) {
        LMDBDataRowKey everything;
        return store.deleteAllDR(everything);
      });
}

TEST_F(RowStore, AWriteAheadLogThatIsRefusedIsLoggedWithTheFileAndNotMissed) {
  hooks::failCall("PRAGMA");
  EXPECT_EQ(mStore.closeLMdb(), LMDB_SUCCESS);
  EXPECT_EQ(mStore.openLMdb(), LMDB_SUCCESS);
  EXPECT_THAT(mLog.texts(), ElementsAre("openLMdb() sql:ERROR:Dbt=" + mDirectory +
                                        "store.db info=not an error\n"));
  add(mStore, {.appName = "a", .payload = {1}});
  mStore.writeCachedDRToDisk();
  EXPECT_EQ(read(mStore).size(), 1u);
}

TEST_F(RowStore, MemoryThatRunsOutAnywhereLosesNoRowAndLeaksNothing) {
  for (const char* const table : {"t", "not_in_a_short_string"}) {
    LaunchStore store(table, mDirectory, "store.db");
    EXPECT_EQ(store.LMDatabaseInit(), LMDB_SUCCESS);
    LMDBDataRowKey other{.appName = "nothing like it"};
    add(store, {.appName = "first", .payload = {0}});
    store.writeCachedDRToDisk();
    for (int nth = 1; nth < 40; ++nth) {
      SCOPED_TRACE(table + std::string(" ") + std::to_string(nth));
      add(store, {.appName = std::string(100, 'n'), .payload = {1}});
      const lmdbError written = withoutMemory(nth, [&] { return store.writeCachedDRToDisk(); });
      EXPECT_EQ(written, LMDB_SUCCESS);
      const int deleted = withoutMemory(nth, [&] { return store.deleteAllDR(other); });
      EXPECT_TRUE(deleted == 0 || deleted == -1) << deleted;
      const std::size_t logged = mLog.texts().size();
      LMDBDataRowKey everything;
      const lmsupport::Owned<LaunchStore::vecT> rows(withoutMemory(nth, [&] {
        return store.readAllocateDR(everything, 0, LMDB_COL_ROWID, LMDB_ASCENDING);
      }));
      EXPECT_EQ(rows.empty(), mLog.texts().size() > logged);
    }
    store.writeCachedDRToDisk();
    EXPECT_EQ(read(store).size(), 40u);  // each was kept in the cache or written
  }
  const auto line = [](const std::string& function, const std::string& where) {
    return "LMDB: " + function + "() Caught exception: std::bad_alloc" + where;
  };
  EXPECT_THAT(mLog.texts(),
              testing::IsSupersetOf({line("writeCachedDRToDisk", " in writeCachedDRToDisk"),
                                     line("readAllocateDR", " in readAllocateDR"),
                                     line("deleteAllDR", " in deleteAllDR"),
                                     line("build_query_for_where_clause", "")}));
}

TEST_F(RowStore, WithoutMemoryForThePathAStoreStaysClosedWithoutMemoryForTheTableItIsOpen) {
  const auto line = [](const std::string& function) {
    return "LMDB: " + function + "() Caught exception: std::bad_alloc in " + function;
  };
  std::vector<std::string> seen;
  for (int nth = 1; nth < 10; ++nth) {
    LaunchStore store("t", mDirectory, "store.db");
    const LogCapture log;
    const lmdbError result = withoutMemory(nth, [&] { return store.openLMdb(); });
    const std::string text = log.texts().empty() ? "" : log.texts().front();
    EXPECT_EQ(result, text == line("openLMdb") ? LMDB_FAILURE : LMDB_SUCCESS) << text;
    EXPECT_EQ(store.mDb == nullptr, text == line("openLMdb")) << text;
    seen.push_back(text);
  }
  EXPECT_THAT(seen,
              testing::IsSupersetOf({line("openLMdb"), line("createLMdbTables"), std::string()}));
}

TEST_F(RowStore, WithoutMemoryForARowThereIsNoneAReadIsCutShortAndNoneIsCached) {
  add(mStore, {.appName = "a", .payload = {1}});
  add(mStore, {.appName = "b", .payload = {2}});
  mStore.writeCachedDRToDisk();
  failingnew::gNothrow = 1;
  EXPECT_EQ(mStore.getRow(), nullptr);
  failingnew::gNothrow = 2;
  EXPECT_THAT(read(mStore), ElementsAre("1 2147483647 a  1"));
  EXPECT_EQ(mStore.cacheRow(nullptr), LMDB_FAILURE);
  auto row = std::make_unique<LaunchStore::Row>();
  EXPECT_EQ(withoutMemory(1, [&] { return mStore.cacheRow(std::move(row)); }), LMDB_FAILURE);
  EXPECT_THAT(mStore.mRowCache, IsEmpty());
  const std::string noRow = "LMDB: getRow() ERROR:Dbt=t new operator failure, allocated=0\n";
  EXPECT_THAT(
      mLog.texts(),
      ElementsAre(noRow, noRow, "LMDB: cacheRow() Caught exception: std::bad_alloc in cacheRow"));
}

TEST_F(RowStore, AStoreThatCannotBeOpenedKeepsItsCacheAndReportsItAtItsEnd) {
  {
    LaunchStore folder("t", mDirectory, ".");
    hooks::failCall("close");
    EXPECT_EQ(folder.LMDatabaseInit(), LMDB_FAILURE);
    add(folder, {.appName = "a", .payload = {1}});
    EXPECT_EQ(folder.writeCachedDRToDisk(), LMDB_SUCCESS);
    EXPECT_EQ(folder.mRowCache.size(), 1u);
    EXPECT_THAT(read(folder), IsEmpty());
    LMDBDataRowKey everything;
    EXPECT_EQ(folder.deleteAllDR(everything), 0);
    EXPECT_EQ(folder.closeLMdb(), LMDB_SUCCESS);
  }
  EXPECT_THAT(
      mLog.texts(),
      ElementsAre("LMDB: openLMdb() ERROR:Db=" + mDirectory + ". sql open failed, err=14\n",
                  "LMDB: closeLMdb() ERROR:Db=" + mDirectory + ". sql close failed, err=10\n",
                  "LMDB: ~LMDBDataTable() ERROR:Dbt=t blstSz=0, clstSz=1\n"));
  std::ofstream(mDirectory + "text") << std::string(4096, 'x');
  LaunchStore text("t", mDirectory, "text");
  EXPECT_EQ(text.LMDatabaseInit(), LMDB_FAILURE);
  EXPECT_NE(text.mDb, nullptr);
  EXPECT_EQ(mLog.texts().back(), "createLMdbTables() ERROR:Dbt=t info=file is not a database\n");
}

TEST_F(RowStore, ProducersMayAppendDuringAWriteAndAReadStopsAt10000Rows) {
  std::vector<std::future<void>> producers;
  for (int i = 0; i < 4; ++i) {
    producers.push_back(std::async(std::launch::async, [&, i] {
      for (int j = 0; j < 2501; ++j) {
        add(mStore, {.intcol1 = i, .appName = "a", .payload = {j}});
      }
    }));
  }
  for (const auto& producer : producers) {
    while (producer.wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
      EXPECT_EQ(mStore.writeCachedDRToDisk(), LMDB_SUCCESS);
    }
  }
  mStore.writeCachedDRToDisk();
  EXPECT_THAT(query("SELECT intcol1, count(DISTINCT blob) FROM t GROUP BY intcol1"),
              ElementsAre("0|2501|", "1|2501|", "2|2501|", "3|2501|"));
  EXPECT_EQ(read(mStore).size(), 10000u);
}

using RowStoreFile = StoreFixture;

TEST_F(RowStoreFile, DestructionWritesAndClosesAndAnEarlierCloseKeepsTheHandle) {
  const std::string writeAheadLog = mDirectory + "store.db-wal";  // goes with the last connection
  {
    LaunchStore store("t", mDirectory, "store.db");
    store.LMDatabaseInit();
    EXPECT_EQ(access(writeAheadLog.c_str(), F_OK), 0);
    add(store, {.appName = "a", .payload = {1}});
  }
  EXPECT_EQ(access(writeAheadLog.c_str(), F_OK), -1);
  EXPECT_THAT(query("SELECT appName FROM t"), ElementsAre("a|"));

  LaunchStore memory("t", "", "");
  for (const auto& [call, result] : {std::pair{"", LMDB_SUCCESS}, {"close", LMDB_FAILURE}}) {
    memory.LMDatabaseInit();
    hooks::failCall(call);
    EXPECT_EQ(memory.closeLMdb(), result);
    EXPECT_NE(std::exchange(memory.mDb, nullptr), nullptr);  // a stale handle is not destroyed
  }
  const std::string failed = "LMDB: closeLMdb() ERROR:Db=:memory: sql close failed, err=10\n";
  EXPECT_THAT(mLog.texts(), ElementsAre(failed));
}

TEST_F(RowStoreFile, AFullDiskLosesOnlyTheCallThatDidNotFit) {
  ASSERT_TRUE(unshareMounts());
  ASSERT_EQ(mount("none", mDirectory.c_str(), "tmpfs", 0, "size=256k"), 0);
  {
    SlotStore store("t", mDirectory, "store.db");
    store.LMDatabaseInit();
    add(store, {.appName = "fits", .payload = {}});
    store.writeCachedDRToDisk();
    for (int i = 0; i < 100; ++i) {
      add(store, {.appName = "does not", .payload = {}});
    }
    EXPECT_EQ(store.writeCachedDRToDisk(), LMDB_SUCCESS);
    EXPECT_THAT(store.mRowCache, IsEmpty());
    EXPECT_THAT(mLog.texts(), testing::Contains(testing::HasSubstr("database or disk is full")));
  }
  EXPECT_THAT(query("SELECT appName FROM t"), ElementsAre("fits|"));
  EXPECT_THAT(query("PRAGMA integrity_check"), ElementsAre("ok|"));
  umount2(mDirectory.c_str(), MNT_DETACH);
}

}  // namespace
