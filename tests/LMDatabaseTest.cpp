#include "LMDatabase.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <random>
#include <thread>

#include "FailingNew.h"
#include "LogCapture.h"
#include "PrivateMounts.h"
#include "SqliteHooks.h"
#include "StoreFixture.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class RowStore : public StoreFixture {
 protected:
  RowStore() { EXPECT_EQ(mStore.LMDatabaseInit(), LMDB_SUCCESS); }

  LaunchStore mStore{"t", mDirectory, "store.db"};
};

TEST_F(RowStore, RowsAreInTheFileAsPlainSqliteReadsThem) {
  add(mStore, {.appName = "it's \"ü\"\n", .payload = {-2}});
  add(mStore, {.intcol1 = -5, .appName = "b", .rsvdName = "r", .payload = {0x01020304}});
  EXPECT_EQ(mStore.LMDatabaseWriteCachedToDisk(), LMDB_SUCCESS);
  EXPECT_THAT(query("SELECT rowid, intcol1, appName, rsvdName, hex(blob) FROM t"),
              ElementsAre("1|-|it's \"ü\"\n|-|FEFFFFFF|", "2|-5|b|r|04030201|"));
  EXPECT_THAT(query("PRAGMA journal_mode"), ElementsAre("wal|"));

  add(mStore, {.rowId = 2, .intcol1 = 7, .appName = "c", .payload = {9}});
  EXPECT_EQ(mStore.writeCachedDRToDisk(), LMDB_SUCCESS);
  EXPECT_THAT(read(mStore, {}), ElementsAre("1 2147483647 it's \"ü\"\n  -2", "2 7 c  9"));
  EXPECT_THAT(mLog.texts(), IsEmpty());
}

TEST_F(RowStore, SkippedBindingsKeepTheValueOfTheRowBefore) {
  add(mStore, {.intcol1 = 3, .appName = "x", .rsvdName = "y", .payload = {1}});
  add(mStore, {.payload = {2}});
  mStore.writeCachedDRToDisk();
  EXPECT_THAT(read(mStore, {}), ElementsAre("1 3 x y 1", "2 3 x y 2"));
  add(mStore, {.payload = {3}});  // the first of a call has nothing to keep: no name, no row
  EXPECT_EQ(mStore.writeCachedDRToDisk(), LMDB_SUCCESS);
  EXPECT_EQ(read(mStore, {}).size(), 2u);
  EXPECT_THAT(mLog.texts(), ElementsAre("writeCachedDRToDisk() sql:ERROR:Dbt=t info=19\n",
                                        "writeCachedDRToDisk() sql:ERROR:Dbt=t info=19\n"));
}

TEST_F(RowStore, KeysSelectByTheirSetFieldsWithTextsAsTheyAre) {
  for (const char* const app : {"a", "b", "b"}) {
    add(mStore, {.intcol1 = 1, .appName = app, .rsvdName = "r", .payload = {0}});
  }
  mStore.writeCachedDRToDisk();
  struct Case {
    LMDBDataRowKey key;
    const char* where;
    std::size_t rows;
  };
  for (Case c :
       {Case{{}, "", 3}, Case{{.appName = "b"}, "WHERE (appName) = ('b') ", 2},
        Case{{.intcol1 = 1, .appName = "a", .rsvdName = "r"},
             "WHERE (appName,rsvdName,intcol1) = ('a','r',1) ",
             1},
        Case{{.intcol1 = -1}, "WHERE (intcol1) = (-1) ", 0},
        Case{
            {.rsvdName = "r') OR ('1') = ('1"}, "WHERE (rsvdName) = ('r') OR ('1') = ('1') ", 3}}) {
    std::string query = "text ";
    LaunchStore::build_query_for_where_clause(c.key, query);
    EXPECT_EQ(query, std::string("text ") + c.where);
    EXPECT_EQ(read(mStore, c.key).size(), c.rows) << c.where;
  }
  EXPECT_THAT(mLog.texts(), IsEmpty());
  LMDBDataRowKey quote{.appName = "it's"};
  EXPECT_THAT(read(mStore, quote), IsEmpty());
  EXPECT_EQ(mStore.deleteAllDR(quote), -1);
  EXPECT_THAT(mLog.texts(),
              ElementsAre("readAllocateDR() sql:ERROR:Dbt=t info=near \"s\": syntax error\n",
                          "deleteAllDR() sql:ERROR:Dbt=t info=near \"s\": syntax error\n"));
  LMDBDataRowKey b{.appName = "b"};
  EXPECT_EQ(mStore.deleteAllDR(b), 2);
  LMDBDataRowKey all;
  EXPECT_EQ(mStore.deleteAllDR(all), 1);
}

TEST_F(RowStore, AReadStopsAt10000Rows) {
  for (int i = 0; i <= kMaxRowsPerRead; ++i) {
    add(mStore, {.appName = "a", .payload = {i}});
  }
  mStore.writeCachedDRToDisk();
  EXPECT_EQ(read(mStore, {}).size(), 10000u);
}

TEST_F(RowStore, SendsTheseTextsInThisOrder) {
  EXPECT_THAT(sqlitehooks::takeSql(),
              ElementsAre("PRAGMA journal_mode=WAL",
                          "CREATE TABLE IF NOT EXISTS t(intcol1 INTEGER, appName TEXT NOT null, "
                          "rsvdName TEXT, blob BLOB)"));
  mStore.writeCachedDRToDisk();
  read(mStore, {});
  LMDBDataRowKey key{.appName = "a"};
  mStore.deleteAllDR(key);
  LaunchStore memory("m", "", "");
  memory.openLMdb();
  EXPECT_THAT(
      sqlitehooks::takeSql(),
      ElementsAre("INSERT INTO t(intcol1, appName, rsvdName, blob) VALUES (?,?,?,?)",
                  "UPDATE t SET (intcol1, appName, rsvdName, blob) = (?,?,?,?) WHERE (rowid) = (?)",
                  "BEGIN IMMEDIATE TRANSACTION;", "COMMIT TRANSACTION;", "SELECT *, rowid FROM t ",
                  "DELETE FROM t WHERE (appName) = ('a') ",
                  "CREATE TABLE IF NOT EXISTS m(intcol1 INTEGER, appName TEXT NOT null, "
                  "rsvdName TEXT, blob BLOB)"));
}

TEST_F(RowStore, AFailedCallIsLoggedAndTheRestOfTheWriteGoesOn) {
  const std::string code = "writeCachedDRToDisk() sql:ERROR:Dbt=t info=10\n";
  const std::string text = "writeCachedDRToDisk() sql:ERROR:Dbt=t info=not an error\n";
  const std::string refused = "writeCachedDRToDisk() ERROR:Dbt=t info=not an error\n";
  const std::string noRollBack =
      "writeCachedDRToDisk() sql:ERROR:Dbt=t info=cannot rollback - no transaction is active\n";
  const std::string noCommit =
      "writeCachedDRToDisk() sql:ERROR:Dbt=t info=cannot commit - no transaction is active\n";
  struct Case {
    const char* call;
    int nth;
    lmdbError result;
    std::size_t cached;
    std::size_t written;
    std::vector<std::string> log;
  };
  for (const Case& c : {
           Case{"prepare", 1, LMDB_FAILURE, 2, 0, {refused}},
           Case{"prepare", 2, LMDB_FAILURE, 2, 0, {refused}},
           Case{"BEGIN", 1, LMDB_SUCCESS, 0, 2, {text, noRollBack, noCommit, noRollBack}},
           Case{"bind", 1, LMDB_SUCCESS, 0, 2, {code}},
           Case{"step", 1, LMDB_SUCCESS, 0, 1, {code}},
           Case{"reset", 2, LMDB_SUCCESS, 0, 2, {code}},
           Case{"COMMIT", 1, LMDB_SUCCESS, 0, 0, {text}},
           Case{"finalize", 1, LMDB_FAILURE, 0, 2, {code}},
           Case{"finalize", 2, LMDB_FAILURE, 0, 2, {code}},
       }) {
    LaunchStore store("t", "", "");
    store.openLMdb();
    add(store, {.intcol1 = 1, .appName = "a", .payload = {1}});
    add(store, {.intcol1 = 2, .appName = "b", .payload = {2}});
    const LogCapture log;
    hooks::failCall(c.call, c.nth);
    EXPECT_EQ(store.LMDatabaseWriteCachedToDisk(), c.result) << c.call;
    EXPECT_EQ(cachedRows(store), c.cached) << c.call;
    EXPECT_EQ(log.texts(), c.log) << c.call;
    EXPECT_EQ(read(store, {}).size(), c.written) << c.call;
  }
}

TEST_F(RowStore, AFailedReadOrDeleteIsLogged) {
  add(mStore, {.appName = "a", .payload = {1}});
  mStore.writeCachedDRToDisk();
  struct Case {
    const char* call;
    std::size_t rows;
    int deleted;
    std::vector<std::string> log;
  };
  const std::string readCode = "readAllocateDR() sql:ERROR:Dbt=t info=10\n";
  for (const Case& c : {Case{"reset", 1, 0, {readCode}}, Case{"finalize", 1, 0, {readCode}},
                        Case{"step", 0, -1, {"deleteAllDR() sql:ERROR:Dbt=t info=10\n"}}}) {
    const LogCapture log;
    hooks::failCall(c.call);
    EXPECT_EQ(read(mStore, {}).size(), c.rows) << c.call;
    if (c.deleted != 0) {
      LMDBDataRowKey key;
      hooks::failCall(c.call);
      EXPECT_EQ(mStore.deleteAllDR(key), c.deleted);
    }
    EXPECT_EQ(log.texts(), c.log) << c.call;
  }
}

TEST_F(RowStore, MemoryThatRunsOutAnywhereLeaksAndBreaksNothing) {
  const std::string longName(100, 'n');
  for (int nth = 1; nth < 40; ++nth) {
    add(mStore, {.appName = longName, .payload = {1}});
    failingnew::gThrowing = nth;
    mStore.writeCachedDRToDisk();
    LMDBDataRowKey key{.appName = "nothing like it"};
    mStore.deleteAllDR(key);
    failingnew::gThrowing = nth;
    auto rows = mStore.readAllocateDR(key, 0, LMDB_COL_ROWID, LMDB_ASCENDING);
    failingnew::gThrowing = 0;
    EXPECT_THAT(rows, IsEmpty());
  }
  mStore.writeCachedDRToDisk();
  EXPECT_EQ(read(mStore, {}).size(), 39u);  // each was kept in the cache or written
  const LogCapture log;
  failingnew::gNothrow = 1;
  EXPECT_EQ(mStore.getRow(), nullptr);
  EXPECT_THAT(log.texts(),
              ElementsAre("LMDB: getRow() ERROR:Dbt=t new operator failure, allocated=0\n"));
}

TEST_F(RowStore, AStoreThatCannotBeOpenedIsClosed) {
  std::ofstream(mDirectory + "text") << std::string(4096, 'x');
  mkdir((mDirectory + "folder").c_str(), 0700);
  struct Case {
    const char* file;
    const char* fail;
    bool isOpen;
    std::string log;
  };
  const std::string other = "createLMdbTables() ERROR:Dbt=t info=";
  for (const Case& c :
       {Case{"folder", "", false,
             "LMDB: openLMdb() ERROR:Db=" + mDirectory + "folder sql open failed, err=14\n"},
        Case{"x.db", "open", false,
             "LMDB: openLMdb() ERROR:Db=" + mDirectory + "x.db sql open failed, err=10\n"},
        Case{"y.db", "CREATE", true, other + "not an error\n"}}) {
    const LogCapture log;
    LaunchStore store("t", mDirectory, c.file);
    hooks::failCall(c.fail);
    EXPECT_EQ(store.LMDatabaseInit(), LMDB_FAILURE);
    EXPECT_EQ(store.mDb != nullptr, c.isOpen);
    EXPECT_THAT(log.texts(), ElementsAre(c.log));
  }
  const LogCapture log;
  {
    LaunchStore text("t", mDirectory, "text");
    EXPECT_EQ(text.LMDatabaseInit(), LMDB_FAILURE);
  }
  EXPECT_EQ(log.texts().at(1), other + "file is not a database\n");
}

TEST_F(RowStore, AClosedStoreKeepsItsCacheAndReportsItAtItsEnd) {
  const LogCapture log;
  {
    LaunchStore closed("t", mDirectory, "other.db");
    add(closed, {.appName = "a", .payload = {1}});
    add(closed, {.appName = "b", .payload = {1}});
    EXPECT_EQ(closed.writeCachedDRToDisk(), LMDB_SUCCESS);
    EXPECT_EQ(cachedRows(closed), 2u);
    EXPECT_THAT(read(closed, {}), IsEmpty());
    EXPECT_EQ(closed.closeLMdb(), LMDB_SUCCESS);
  }
  EXPECT_THAT(log.texts(), ElementsAre("LMDB: ~LMDBDataTable() ERROR:Dbt=t blstSz=0, clstSz=2\n"));
}

TEST_F(RowStore, AShortBlobIsFilledUpWithZeros) {
  query("INSERT INTO t VALUES (1, 'a', null, x'05')");
  query("INSERT INTO t VALUES (1, 'b', null, null)");
  EXPECT_THAT(read(mStore, {}), ElementsAre("1 1 a  5", "2 1 b  0"));
}

TEST_F(RowStore, ProducersMayAppendDuringAWrite) {
  std::atomic<int> running = 4;
  std::vector<std::thread> producers;
  for (int i = 0; i < 4; ++i) {
    producers.emplace_back([&, i] {
      for (int j = 0; j < 500; ++j) {
        add(mStore, {.intcol1 = i, .appName = "a", .payload = {j}});
      }
      --running;
    });
  }
  while (running > 0) {
    EXPECT_EQ(mStore.writeCachedDRToDisk(), LMDB_SUCCESS);
  }
  for (std::thread& producer : producers) {
    producer.join();
  }
  mStore.writeCachedDRToDisk();
  EXPECT_THAT(query("SELECT intcol1, count(DISTINCT blob) FROM t GROUP BY intcol1"),
              ElementsAre("0|500|", "1|500|", "2|500|", "3|500|"));
}

class RowStoreFile : public StoreFixture {
 protected:
  /** Writes calls of five rows for ever, and tells the parent of each that returned. */
  [[noreturn]] void writeUntilKilled(int first, int reports) {
    LaunchStore store("t", mDirectory, "store.db");
    store.LMDatabaseInit();
    for (int call = first;; ++call) {
      for (int i = 0; i < 5; ++i) {
        add(store, {.intcol1 = call, .appName = "a", .payload = {i}});
      }
      store.writeCachedDRToDisk();
      if (write(reports, &call, sizeof(call)) != sizeof(call)) {
        _exit(1);
      }
    }
  }
};

TEST_F(RowStoreFile, AWriterKilledAtAnyPointLeavesWholeCalls) {
  std::mt19937 random(20);
  int calls = 0;
  for (int round = 0; round < 50; ++round) {
    int reports[2];
    ASSERT_EQ(pipe2(reports, O_CLOEXEC), 0);
    const pid_t child = fork();
    if (child == 0) {
      writeUntilKilled(calls, reports[1]);
    }
    close(reports[1]);
    ASSERT_EQ(::read(reports[0], &calls, sizeof(calls)), ssize_t{sizeof(calls)});
    usleep(random() % 5000);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    while (::read(reports[0], &calls, sizeof(calls)) > 0) {
    }
    close(reports[0]);
    const std::string returned =
        "SELECT count(DISTINCT intcol1) FROM t WHERE intcol1 <= " + std::to_string(calls);
    EXPECT_THAT(query(returned.c_str()), ElementsAre(std::to_string(calls + 1) + "|"));
    EXPECT_THAT(query("SELECT intcol1 FROM t GROUP BY intcol1 HAVING count(*) <> 5"), IsEmpty());
    EXPECT_THAT(query("PRAGMA integrity_check"), ElementsAre("ok|"));
    calls = std::stoi(query("SELECT max(intcol1) + 1 FROM t").front());
  }
}

TEST_F(RowStoreFile, AFullDiskLosesOnlyTheCallThatDidNotFit) {
  makeMountsPrivate();
  ASSERT_EQ(mount("none", mDirectory.c_str(), "tmpfs", 0, "size=256k"), 0);
  {
    SlotStore store("t", mDirectory, "store.db");
    EXPECT_EQ(store.LMDatabaseInit(), LMDB_SUCCESS);
    add(store, {.appName = "fits", .payload = {}});
    store.writeCachedDRToDisk();
    EXPECT_THAT(mLog.texts(), IsEmpty());
    for (int i = 0; i < 100; ++i) {
      add(store, {.appName = "does not", .payload = {}});
    }
    EXPECT_EQ(store.writeCachedDRToDisk(), LMDB_SUCCESS);
    EXPECT_EQ(cachedRows(store), 0u);
    EXPECT_THAT(mLog.texts(), testing::Contains(testing::HasSubstr("database or disk is full")));
  }
  EXPECT_THAT(query("SELECT appName FROM t"), ElementsAre("fits|"));
  EXPECT_THAT(query("PRAGMA integrity_check"), ElementsAre("ok|"));
  umount2(mDirectory.c_str(), MNT_DETACH);
}

}  // namespace
