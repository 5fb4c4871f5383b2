#include <gmock/gmock.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>

#include "LMDatabase.h"
#include "NodeChecks.h"
#include "RunLmctl.h"
#include "testing/Folders.h"
#include "testing/TemporaryFolder.h"

using testing::HasSubstr;

namespace {

/** What "lmctl db" is to do with a file, and a text in its output, or else in its error. */
struct Case {
  std::string command, words;
  int status;
  std::string text;
};

/** Runs each command; a failure is one line that says why. */
void expectAll(const std::string& file, const std::vector<Case>& cases) {
  for (const auto& [command, words, status, text] : cases) {
    SCOPED_TRACE(command + " " + words);
    const LmctlResult result = runLine("db " + command + " " + file + " " + words);
    EXPECT_EQ(result.status, status) << result.err;
    EXPECT_THAT(status == kSuccess ? result.out : result.err, HasSubstr(text));
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), status == kSuccess ? 0 : 1);
  }
}

/** Executes SQL on a connection beside lmctl's, which it returns. */
std::unique_ptr<sqlite3, int (*)(sqlite3*)> execute(const std::string& file, const char* sql) {
  sqlite3* db = nullptr;
  EXPECT_EQ(sqlite3_open(file.c_str(), &db), SQLITE_OK);
  EXPECT_EQ(sqlite3_exec(db, sql, nullptr, nullptr, nullptr), SQLITE_OK);
  return {db, sqlite3_close};
}

TEST(LmctlDb, RowsAreAddedShownAndDeleted) {
  const TemporaryFolder folder;
  expectAll(folder.path() + "/db",
            {{"dump", "t", kFailure, "/db: No such file or directory\n"},
             {"put", "t five --app a", kUsage, "'launches' must be a whole number"},
             {"put", "t 5", kUsage, "VALUE needs --app or --slot"},
             {"put", "t --app a", kUsage, "either VALUE or --from"},
             {"put", "t --slot s " + std::string(4096, 'x'), kUsage, "4095 bytes, not 4096"},
             {"put", "x;y 5 --app a", kUsage, "letters, digits and underscores"},
             {"put", "t 5 --app a --int 03", kSuccess, "put 1 row\n"},
             {"put", "t -7 --app b\xff --json", kSuccess, "\"put\": 1\n"},
             {"put", "t 6 --slot b", kFailure, "in t are launches, not slots"},
             {"put", "s com.a/ --slot week_day_1", kSuccess, "put 1 row\n"},
             {"tables", "", kSuccess, "payload   rows\ns      slots     1\nt      launches  2\n"},
             {"dump", "u", kFailure, "/db has no table u; it has s, t\n"},
             {"dump", "t --app it's", kUsage, "a quote cannot be part of a key"},
             {"dump", "t", kSuccess,
              "rowid  int  app    rsvd  launches\n1      3    a      -     5\n"
              "2      -    b\\xff  -     -7\n"},
             {"dump", "s --slot week_day_1", kSuccess, "week_day_1  -     com.a/\n"},
             {"delete", "t", kUsage, "give --all"},
             {"delete", "t --int 3", kSuccess, "deleted 1 row\n"},
             {"delete", "t --all --json", kSuccess, "\"deleted\": 1\n"},
             {"dump", "t", kSuccess, "(no rows)\n"}});
}

TEST(LmctlDb, LookingLeavesAFileAsItWas) {
  const TemporaryFolder folder;
  const std::string file = folder.path() + "/db";
  execute(file,
          "CREATE TABLE ours(intcol1 INTEGER, appName TEXT, rsvdName TEXT, blob BLOB);"
          "INSERT INTO ours VALUES(1, 'a', 'b', x'0A02'); CREATE TABLE foreign_one(blob);");
  const std::string before = readText(file);
  expectAll(file, {{"dump", "ours --json", kSuccess,
                    R"({"rowid":1,"int":1,"app":"a","rsvd":"b","payload":"0x0a02"})"},
                   {"dump", "foreign_one", kFailure, "it lacks intcol1, appName, rsvdName\n"},
                   {"tables", "", kSuccess, "foreign_one  not a row store's  0\n"},
                   {"put", "foreign_one 1 --app a", kFailure, "is not a row store's"}});
  EXPECT_EQ(readText(file), before);
  expectAll(folder.path() + "/store",
            {{"put", "t 1 --app a", kSuccess, ""},  // with a log beside it
             {"dump", "t", kSuccess, "a    -     1\n"}});
  EXPECT_EQ(namesIn(folder.path()).size(), 2u) << "a look left files behind";
}

TEST(LmctlDb, AStoreThatCannotBeUsedSaysWhy) {
  const TemporaryFolder folder;
  const std::string file = folder.path() + "/db";
  const std::string text = folder.path() + "/text";
  expectAll(file, {{"put", "t 1 --app a", kSuccess, ""}});
  const auto lock =
      execute(file, "PRAGMA locking_mode=EXCLUSIVE; PRAGMA journal_mode=DELETE; BEGIN EXCLUSIVE");
  expectAll(file, {{"put", "t 1 --app a", kFailure, file + ": database is locked\n"},
                   {"dump", "t", kFailure, file + ": database is locked\n"},
                   {"delete", "t --all", kFailure, file + ": database is locked\n"}});
  expectAll("/none/db",
            {{"put", "t 1 --app a", kFailure, "/none/db: No such file or directory\n"}});
  std::ofstream(text) << "no database, but as long as the head of one\n";
  expectAll(text, {{"dump", "t", kFailure, text + ": file is not a database\n"}});
}

TEST(LmctlDb, BadRowsAreNamedAndNothingIsWritten) {
  const TemporaryFolder folder;
  const std::string rows = folder.path() + "/rows";
  for (const auto& [row, problem] : std::vector<std::pair<std::string, const char*>>{
           {R"({"app": b})", "not a JSON object"},
           {R"([])", "not a JSON object"},
           {R"({"app": "b"})", "'launches' must be a whole number"},
           {R"({"app": "", "launches": 1})", "'app' must not be empty"},
           {R"({"app": "b", "launches": 18446744073709551615})", "'launches' must be a whole"},
           {R"({"app": "b", "int": 2147483647, "launches": 1})", "'int' must be a whole number"},
           {R"({"app": "b\u0000", "launches": 1})", "'app' must be a text without zero bytes"},
           {R"({"app": "b", "app": "c", "launches": 1})", "'app' is given twice"},
           {R"({"slot": "b", "apps": "c/"})", "'apps' is not a column of this kind of rows"}}) {
    std::ofstream(rows) << "{\"app\": \"a\", \"launches\": 1}\n" << row;
    expectAll(folder.path() + "/db",
              {{"put", "t --from " + rows, kFailure, rows + ": line 2: " + problem}});
    EXPECT_NE(access((folder.path() + "/db").c_str(), F_OK), 0) << row;
  }
}

TEST(LmctlDb, ADumpOfAnySizeCanBePutBack) {
  const TemporaryFolder folder;
  const std::string rows = folder.path() + "/rows";
  std::string text =
      "{\"app\": \"x\\n,y\", \"launches\": -2}\n\n"
      "{\"rowid\": 9, \"app\": \"i\\\"s\", \"int\": 7, \"rsvd\": \"r\", \"launches\": 3}\n";
  for (int i = 0; i < kMaxRowsPerRead; ++i) {
    text += "{\"app\": \"a\", \"launches\": 1}\n";
  }
  std::ofstream(rows) << text;
  expectAll(rows + ".a",
            {{"put", "t --from " + rows, kSuccess, "put 10002 rows\n"},
             {"dump", "t --json", kSuccess, R"("int":7,"app":"i\"s","rsvd":"r","launches":3)"}});
  const std::string dump = runLine("db dump --json " + rows + ".a t").out;
  EXPECT_EQ(std::count(dump.begin(), dump.end(), '\n'), 10002);
  std::ofstream(rows) << dump;
  expectAll(rows + ".b",
            {{"put", "t --from " + rows, kSuccess, ""}, {"dump", "t --json", kSuccess, dump}});
}

TEST(LmctlFavourites, TablesAreRebuiltFromTheTextAndTheHistory) {
  const TemporaryFolder folder;
  const std::string rebuild = "favourites rebuild --dir " + folder.path();
  expectAll(folder.path() + "/launch_history.db",
            {{"put", "launch_history 5 --app a", kSuccess, ""}});
  std::ofstream(folder.path() + "/text") << "a/=b/\n";
  const std::string tables = runLine(rebuild + " --text-file " + folder.path() + "/text").out;
  EXPECT_THAT(tables, HasSubstr("time_slots\nslot        apps\nweek_day_1  a/\nweek_end_1  b/\n\n"
                                "favourite_launches\napp  launches\n"));
  EXPECT_THAT(tables, HasSubstr("a    5\n"));
  EXPECT_THAT(tables, HasSubstr("b    -\n")) << "which has no history";
  EXPECT_THAT(runLine(rebuild + " --text " + std::string(4097, 'a') + "/").err,
              HasSubstr("a slot's text of 4098 bytes is cut to 4095\n"));
}

}  // namespace
