#include <gmock/gmock.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>

#include "HostCore.h"
#include "LMDatabase.h"
#include "RunLmctl.h"
#include "config/DynamicLoader.h"
#include "testing/FakeKernel.h"
#include "testing/HostNameNode.h"
#include "testing/TemporaryFolder.h"

using testing::ContainsRegex;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Pair;

namespace {

TEST(Lmctl, ErrorsAreOneLineThatNamesWhatToDo) {
  hostcore::clearItem(kVsyncNodeItem);
  hostcore::clearItem(kGfxDataNodeItem);
  hostcore::clearText(kPreferredAppsKey);
  const std::string longPath(150, 'x');
  using Case = std::tuple<std::vector<const char*>, int, const char*>;
  for (const auto& [words, status, error] :
       {Case{{}, kUsage, "lmctl: .*see 'lmctl --help'"},
        Case{{"watch"}, kUsage, "lmctl watch: name a command; see"},
        Case{{"nonsense"}, kUsage, "lmctl: .*nonsense"},
        Case{{"watch", "vsync", "--seconds", "x"}, kUsage, "'x' is not a number from 0.1 to 86400"},
        Case{{"watch", "gfx", "--seconds", "nan"}, kUsage, "gfx: --seconds: 'nan' is not a number"},
        Case{{"watch", "gfx", "--seconds"}, kUsage, "gfx: --seconds needs a value; see"},
        Case{{"report", "-o", "a", "-o", "b"}, kUsage, "--output is given more than once"},
        Case{{"--json", "mem"}, kUsage, "lmctl mem: '--json' belongs after the command and"},
        Case{{"stats", "pid", "0"}, kUsage, "PID: '0' is not a whole number from 1 to 4194304"},
        Case{{"db", "dump", "", "t"}, kUsage, "lmctl db dump: FILE: the name is empty"},
        Case{{"db", "dump", "/\n", "t"}, kFailure, "lmctl db dump: /.x0a: No such file"},
        Case{{"favourites", "rebuild", "--dir", "/none"}, kFailure, "rebuild: no text of key 5638"},
        Case{{"favourites", "rebuild", "--dir", ""}, kUsage, "--dir: the name is empty"},
        Case{{"watch", "vsync", "--node", longPath.c_str()}, kUsage, "vsync: .*than 149 bytes"},
        Case{{"demo", "--seconds", "0"}, kUsage, "lmctl demo: .*--seconds"},
        Case{{"watch", "vsync", "--help"}, kSuccess, "--node PATH"}}) {
    const LmctlResult result = runLmctl(words);
    EXPECT_EQ(result.status, status);
    const std::string& text = status == kSuccess ? result.out : result.err;
    EXPECT_THAT(text, ContainsRegex(error));
    EXPECT_EQ(status != kSuccess, std::count(text.begin(), text.end(), '\n') == 1) << text;
  }
}

TEST(Lmctl, StoresAreFilledShownAndEmptied) {
  const TemporaryFolder temporary;
  const std::string& folder = temporary.path();
  std::ofstream(folder + "/text") << "b/=a/\n";
  const std::string file = folder + "/launch_history.db ";
  const std::string table = file + "launch_history ";
  const std::string rebuild = "favourites rebuild --dir " + folder;
  const std::string row = "rowid  int  app  rsvd  launches\n1      3    a    -     5\n";
  using Step = std::tuple<std::string, int, std::string>;
  for (const auto& [words, status, out] : {
           Step{"db dump " + table, kFailure, ""},
           Step{"db put " + table + "five --app a", kUsage, ""},
           Step{"db put " + table + "5", kUsage, ""},
           Step{"db dump " + table, kFailure, ""},  // as nothing made the file yet
           Step{"db put " + table + "5 --app a --int 03", kSuccess, "put 1 row\n"},
           Step{"db put " + table + "6 --app b\xff --json", kSuccess, "\"put\": 1\n"},
           Step{"db put " + table + "6 --slot b", kFailure, ""},
           Step{"db dump " + file + "launches", kFailure, ""},
           Step{"db delete " + file + "launches --all", kFailure, ""},
           Step{"db delete " + table, kUsage, ""},
           Step{"db delete " + table + "--app ''", kUsage, ""},
           Step{"db delete " + table + "--int 2147483647", kUsage, ""},
           Step{"db put " + file + "'x;y' 5 --app a", kUsage, ""},
           Step{"db dump " + table + "--app it\\'s", kUsage, ""},
           Step{"db dump " + table + "--app a", kSuccess, row},
           Step{"db dump " + table, kSuccess, "b\\xff"},
           Step{"db dump " + table + "--json", kSuccess, "\"app\":\"b\xef\xbf\xbd\""},
           Step{rebuild + " --text-file " + folder + "/text", kSuccess, "week_end_1  a/\n"},
           Step{rebuild + " --text a/", kSuccess, "favourite_launches\napp  launches\na    5\n"},
           Step{rebuild + " --text a/ --json", kSuccess, "\"launches\": 5"},
           Step{"db delete " + table + "--int 3", kSuccess, "deleted 1 row\n"},
           Step{"db delete " + table + "--all", kSuccess, "deleted 1 row\n"},
           Step{"db dump " + table, kSuccess, "(no rows)\n"},
           Step{"node write 3 x --json --item 3=/tmp", kFailure, ""},
           Step{"node write 3 x --json --item 3=/dev/null", kSuccess, "\"read\": null"},
       }) {
    EXPECT_THAT(run(words), Pair(status, HasSubstr(out))) << words;
  }
}

TEST(Lmctl, DoctorTellsWhatIsThereFromWhatIsMissing) {
  const auto vsync = [](const std::string& options) {
    std::vector<std::string> found;
    for (const auto& line : nlohmann::json::parse(run("doctor --json" + options).second)) {
      EXPECT_EQ(line["state"] == "ok", line["what_to_do"].is_null()) << line;
      if (line["service"] == "vsync") {
        found.push_back(line["state"].get<std::string>() + ": " +
                        line["detail"].get<std::string>());
      }
    }
    return found;
  };
  EXPECT_THAT(vsync(""), ElementsAre("missing: item 22 is not configured"));
  EXPECT_THAT(vsync(" --item 22=/x"), ElementsAre("missing: /x: No such file or directory"));
  EXPECT_THAT(vsync(" --item 22=/dev/null"), ElementsAre("missing: /dev/null: not a kernel node"));
  const std::string node = HostNameNode::kPath;
  EXPECT_THAT(vsync(" --item 22=" + node), ElementsAre("ok: item 22, " + node));
}

TEST(Lmctl, MembersOfJsonKeepTheirNames) {
  const TemporaryFolder folder;
  for (const auto& [words, names] : std::map<std::string, std::string>{
           {"mem", "swap_used_kb swap_total_kb vmalloc_used_kb"},
           {"db delete --all " + folder.path() + "/db t", "deleted"}}) {
    run("db put " + folder.path() + "/db t 1 --app a");
    EXPECT_EQ(memberNames(run(words + " --json").second), names) << words;
  }
  FakeKernel kernel;
  using Case = std::tuple<std::vector<const char*>, Attributes::value_type, const char*>;
  for (auto [words, answer, names] : {Case{{"pid", "1"}, {1, Bytes(152, 'p')}, "slot hex decimal"},
                                      Case{{"sys"}, {4, Bytes(288, 's')}, "slot hex decimal"},
                                      Case{{"range", "1", "2"},
                                           {3, Bytes(152, 'r')},
                                           "0 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18"},
                                      Case{{"name", "init"}, {5, Bytes(8, 'n')}, "pid entry"}}) {
    kernel.answer = {kernel.message({answer}, NLM_F_MULTI), kernel.done()};
    words.insert(words.begin(), "stats");
    words.push_back("--json");
    const LmctlResult result = runLmctl(words);
    ASSERT_EQ(result.status, kSuccess) << result.err;
    EXPECT_EQ(memberNames(result.out), names);
  }
}

TEST(Lmctl, VersionNamesTheLibrariesThatAreLoaded) {
  EXPECT_THAT(run("--version"),
              Pair(kSuccess, ContainsRegex("^lmctl [1-9][0-9.]+\nlibrary +/.*/liblmsupport.*\n"
                                           "core library +/.*/liblmhost.*\n$")));
}

TEST(Lmctl, BadRowsAreNamedAndNothingIsWritten) {
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
    EXPECT_THAT(run("db put " + folder.path() + "/db t --from " + rows + " 2>&1"),
                Pair(kFailure, HasSubstr(problem)));
    EXPECT_NE(access((folder.path() + "/db").c_str(), F_OK), 0);
  }
}

TEST(Lmctl, ADumpOfAnySizeCanBePutBack) {
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
  const std::string table = folder.path() + "/a t ";
  EXPECT_THAT(run("db put " + table + "--from " + rows), Pair(kSuccess, "put 10002 rows\n"));
  const auto [status, dump] = run("db dump --json " + table);
  EXPECT_EQ(status, kSuccess);
  EXPECT_EQ(std::count(dump.begin(), dump.end(), '\n'), 10002);
  EXPECT_THAT(dump, HasSubstr(R"("int":7,"app":"i\"s","rsvd":"r","launches":3)"));
  std::ofstream(rows) << dump;
  run("db put " + folder.path() + "/b t --from - <" + rows);
  EXPECT_EQ(run("db dump --json " + folder.path() + "/b t").second, dump);
}

}  // namespace
