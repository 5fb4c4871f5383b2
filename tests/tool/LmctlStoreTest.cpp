#include <gmock/gmock.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <iterator>

#include "HostCore.h"
#include "LMDatabase.h"
#include "RunLmctl.h"
#include "config/DynamicLoader.h"
#include "db/Database.h"
#include "testing/Folders.h"
#include "testing/TemporaryFolder.h"

using testing::HasSubstr;

namespace {

std::string contents(const std::string& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

/** Executes SQL on a connection beside lmctl's. */
void execute(const std::string& file, const std::string& sql) {
  sqlite3* db = nullptr;
  ASSERT_EQ(sqlite3_open(file.c_str(), &db), SQLITE_OK);
  EXPECT_EQ(sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK);
  sqlite3_close(db);
}

TEST(LmctlDb, RowsAreAddedShownAndDeleted) {
  const TemporaryFolder folder;
  const std::string file = folder.path() + "/db ";
  struct Step {
    std::string words;
    int status;
    std::string text;  ///< in its output, or in its error
  };
  for (const auto& [words, status, text] : {
           Step{"dump " + file + "t", kFailure, "/db: No such file or directory\n"},
           Step{"put " + file + "t five --app a", kUsage, "'five' is not a whole number"},
           Step{"put " + file + "t 5", kUsage, "VALUE needs --app or --slot"},
           Step{"put " + file + "t --app a", kUsage, "either VALUE or --from"},
           Step{"put " + file + "t --app a --from x", kUsage, "--from gives all fields"},
           Step{"put " + file + "t 5 --app a --slot b", kUsage, "--app excludes --slot"},
           Step{"put " + file + "t --slot s " + std::string(4096, 'x'), kUsage, "4095 bytes, not"},
           Step{"put " + file + "x;y 5 --app a", kUsage, "letters, digits and underscores"},
           Step{"put " + file + "t 5 --app a --int 03", kSuccess, "put 1 row\n"},
           Step{"put " + file + "t -7 --app b\xff --json", kSuccess, "\"put\": 1\n"},
           Step{"put " + file + "t 6 --slot b", kFailure, "name it with --app"},
           Step{"put " + file + "s com.a/ --slot week_day_1", kSuccess, "put 1 row\n"},
           Step{"tables " + file, kSuccess,
                "table  payload   rows\ns      slots     1\nt      launches  2\n"},
           Step{"dump " + file + "u", kFailure, "/db has no table u; it has s, t\n"},
           Step{"dump " + file + "t --app it's", kUsage, "a quote cannot be part of a key"},
           Step{"dump " + file + "t", kSuccess,
                "rowid  int  app    rsvd  launches\n1      3    a      -     5\n"
                "2      -    b\\xff  -     -7\n"},
           Step{"dump " + file + "s --slot week_day_1", kSuccess,
                "rowid  int  slot        rsvd  apps\n1      -    week_day_1  -     com.a/\n"},
           Step{"delete " + file + "t", kUsage, "give --all"},
           Step{"delete " + file + "u --all", kFailure, "has no table u"},
           Step{"delete " + file + "t --int 2147483647", kUsage, "to 2147483646"},
           Step{"delete " + file + "t --int 3", kSuccess, "deleted 1 row\n"},
           Step{"delete " + file + "t --all --json", kSuccess, "\"deleted\": 1\n"},
           Step{"dump " + file + "t", kSuccess, "(no rows)\n"},
       }) {
    const LmctlResult result = runLine("db " + words);
    EXPECT_EQ(result.status, status) << words;
    EXPECT_THAT(status == kSuccess ? result.out : result.err, HasSubstr(text)) << words;
  }
}

TEST(LmctlDb, LookingLeavesAFileAsItWas) {
  const TemporaryFolder folder;
  const std::string file = folder.path() + "/db";
  execute(file,
          "CREATE TABLE ours(intcol1 INTEGER, appName TEXT NOT null, rsvdName TEXT, blob BLOB);"
          "INSERT INTO ours VALUES(1, 'a', 'b', x'0102'); CREATE TABLE foreign_one(blob);");
  const std::string before = contents(file);
  EXPECT_THAT(runLine("db dump " + file + " ours --json").out,
              R"({"rowid":1,"int":1,"app":"a","rsvd":"b","payload":"0x0102"})"
              "\n");
  EXPECT_THAT(runLine("db dump " + file + " foreign_one").err,
              HasSubstr("is not a row store's; it lacks intcol1, appName, rsvdName\n"));
  EXPECT_THAT(runLine("db tables " + file).out, HasSubstr("foreign_one  not a row store's  0\n"));
  EXPECT_THAT(runLine("db put " + file + " foreign_one 1 --app a").status, kFailure);
  EXPECT_EQ(contents(file), before);
  const std::string store = folder.path() + "/store";  // with a write-ahead log
  runLine("db put " + store + " t 1 --app a");
  EXPECT_THAT(runLine("db dump " + store + " t").out, HasSubstr("a    -     1\n"));
  EXPECT_EQ(namesIn(folder.path()).size(), 2u) << "a look left files behind";
}

TEST(LmctlDb, AStoreThatCannotBeUsedIsOneLineThatSaysWhy) {
  const TemporaryFolder folder;
  const std::string file = folder.path() + "/db";
  const std::string text = folder.path() + "/text";
  ASSERT_EQ(runLine("db put " + file + " t 1 --app a").status, kSuccess);
  std::ofstream(text) << "no database, but as long as the head of one\n";
  sqlite3* other = nullptr;
  ASSERT_EQ(sqlite3_open(file.c_str(), &other), SQLITE_OK);
  sqlite3_exec(other, "PRAGMA locking_mode=EXCLUSIVE; PRAGMA journal_mode=DELETE", nullptr, nullptr,
               nullptr);
  ASSERT_EQ(sqlite3_exec(other, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr), SQLITE_OK);
  for (const auto& [words, reason] : std::vector<std::pair<std::string, std::string>>{
           {"put " + file + " t 1 --app a", file + ": database is locked\n"},
           {"dump " + file + " t", file + ": database is locked\n"},
           {"delete " + file + " t --all", file + ": database is locked\n"},
           {"put /none/db t 1 --app a", "/none/db: unable to open database file: No such file"},
           {"dump " + text + " t", text + ": file is not a database\n"}}) {
    const LmctlResult result = runLine("db " + words);
    EXPECT_EQ(result.status, kFailure) << words;
    EXPECT_THAT(result.err, HasSubstr(reason)) << words;
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
  }
  sqlite3_close(other);
}

TEST(LmctlDb, BadRowsAreNamedAndNothingIsWritten) {
  const TemporaryFolder folder;
  const std::string rows = folder.path() + "/rows";
  const std::string good = "{\"app\": \"a\", \"launches\": 1}\n";
  for (const auto& [row, problem] : std::vector<std::pair<std::string, const char*>>{
           {"{\"app\": b}", "line 2: column 9: syntax error"},
           {"[]", "line 2: not an object"},
           {R"({"app": "b"})", "line 2: no 'launches' is given"},
           {R"({"launches": 1, "rsvd": "a"})", "line 2: no 'app' is given"},
           {R"({"app": "b", "launches": null})", "'launches' is not a whole number"},
           {R"({"app": "b", "launches": 2147483648})", "'launches' is not a whole number"},
           {R"({"app": "b", "int": 2147483647, "launches": 1})", "'int' is not a whole number"},
           {R"({"app": "b\u0000", "launches": 1})", "'app' is not a text without zero bytes"},
           {R"({"app": "b", "app": "c", "launches": 1})", "'app' is given twice"},
           {R"({"slot": "b", "apps": "c/"})", "'apps' is not a column of this kind of rows"}}) {
    std::ofstream(rows) << good << row;
    const LmctlResult result = runLine("db put " + folder.path() + "/db t --from " + rows);
    EXPECT_EQ(result.status, kFailure) << row;
    EXPECT_THAT(result.err, HasSubstr(problem)) << row;
    EXPECT_NE(access((folder.path() + "/db").c_str(), F_OK), 0) << row;
  }
}

TEST(LmctlDb, ADumpOfAnySizeCanBePutBack) {
  const TemporaryFolder folder;
  const std::string rows = folder.path() + "/rows";
  std::ofstream file(rows);
  file << R"({"app": "x\n,y", "launches": -2})"
       << "\n\n"
       << R"({"rowid": 9, "app": "i\"s", "int": 7, "rsvd": "r", "launches": 3})"
       << "\n";
  for (int i = 0; i < kMaxRowsPerRead; ++i) {
    file << R"({"app": "a", "launches": 1})"
         << "\n";
  }
  file.close();
  const auto db = [&](const std::string& words) { return runLine("db " + words).out; };
  EXPECT_EQ(db("put " + rows + ".a t --from " + rows), "put 10002 rows\n");
  const std::string dump = db("dump --json " + rows + ".a t");
  EXPECT_EQ(std::count(dump.begin(), dump.end(), '\n'), 10002);
  EXPECT_THAT(dump, HasSubstr(R"("int":7,"app":"i\"s","rsvd":"r","launches":3)"));
  std::ofstream(rows) << dump;
  db("put " + rows + ".b t --from " + rows);
  EXPECT_EQ(db("dump --json " + rows + ".b t"), dump);
}

TEST(LmctlFavourites, TablesAreRebuiltFromTheTextAndTheHistory) {
  const TemporaryFolder folder;
  hostcore::clearText(kPreferredAppsKey);
  const std::string rebuild = "favourites rebuild --dir " + folder.path();
  EXPECT_THAT(runLine(rebuild).err, HasSubstr("rebuild: no text of key 5638"));
  runLine("db put " + folder.path() + "/launch_history.db launch_history 5 --app a");
  std::ofstream(folder.path() + "/text") << "a/=b/\n";
  const std::string tables = runLine(rebuild + " --text-file " + folder.path() + "/text").out;
  EXPECT_THAT(tables, HasSubstr("time_slots\nslot        apps\nweek_day_1  a/\nweek_end_1  b/\n"));
  EXPECT_THAT(tables, HasSubstr("app  launches\n"));
  EXPECT_THAT(tables, HasSubstr("a    5\n"));
  EXPECT_THAT(tables, HasSubstr("b    -\n")) << "which has no history";
  EXPECT_THAT(runLine(rebuild + " --text " + std::string(4097, 'a') + "/").err,
              HasSubstr("a slot's text of 4098 bytes is cut to 4095\n"));
}

}  // namespace
