#include <gmock/gmock.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "Distribution.h"
#include "HostCore.h"
#include "HostNameNode.h"
#include "Lmctl.h"
#include "TemporaryFolder.h"
#include "config/DynamicLoader.h"

using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Pair;

namespace {

/** Runs lmctl as a shell does; returns its exit status and output. */
std::pair<int, std::string> run(const std::string& words) {
  FILE* const pipe = popen((LMCTL " " + words).c_str(), "r");
  std::string output;
  for (char text[256]; fgets(text, sizeof(text), pipe) != nullptr;) {
    output += text;
  }
  return {WEXITSTATUS(pclose(pipe)), output};
}

TEST(Lmctl, ErrorsAreOneLineThatNamesWhatToDo) {
  hostcore::clearItem(kVsyncNodeItem);
  hostcore::clearItem(kGfxDataNodeItem);
  const std::string longPath(150, 'x');
  using Case = std::tuple<std::vector<const char*>, int, const char*>;
  for (auto [words, status, error] :
       {Case{{}, kUsage, "lmctl: .*see 'lmctl --help'"},
        Case{{"nonsense"}, kUsage, "lmctl: .*nonsense"},
        Case{{"watch", "vsync", "--seconds", "x"}, kUsage, "see 'lmctl watch vsync --help'"},
        Case{{"watch", "vsync", "--node", longPath.c_str()}, kUsage, "vsync: .*than 149 bytes"},
        Case{{"demo", "--seconds", "0"}, kUsage, "lmctl demo: .*--seconds"},
        Case{{"watch", "vsync"}, kFailure, "item 22 is not configured.*--node PATH"},
        Case{{"watch", "vsync", "--node", "/none"}, kFailure, "/none: No such file.*--node PATH"},
        Case{{"watch", "vsync", "--node", "/none", "--trace", ""}, kUsage, "no file name"},
        Case{{"watch", "gfx"}, kFailure, "frame node: item 7 is not configured.*--node PATH"},
        Case{{"watch", "gfx", "--node", "/proc/self/exe"}, kFailure, "neither a kernel node nor"},
        Case{{"watch", "gfx", "--node", "/dev/null", "--ctrl", "/none"}, kFailure, "--ctrl PATH"},
        Case{{"watch", "vsync", "--help"}, kSuccess, "--node PATH"}}) {
    std::ostringstream out;
    std::ostringstream err;
    Console console{out, err, false};
    words.insert(words.begin(), "lmctl");
    EXPECT_EQ(lmctl(static_cast<int>(words.size()), words.data(), console), status);
    const std::string text = status == kSuccess ? out.str() : err.str();
    EXPECT_THAT(text, ContainsRegex(error));
    EXPECT_EQ(status != kSuccess, std::count(text.begin(), text.end(), '\n') == 1) << text;
  }
}

TEST(Lmctl, DemoAndWatchSumUpWhatArrivedAlsoAfterASignal) {
  EXPECT_THAT(run("demo --seconds 0.5"),
              Pair(kSuccess, ContainsRegex("[1-9][0-9]* sent +[1-9][0-9]* rec.*reported "
                                           ".*\nframes .*\nlate .*com.chat +17\n")));
  const std::string watch = std::string("watch vsync --node ") + HostNameNode::kPath;
  const std::string demo = " & " LMCTL " demo --seconds 2 >/dev/null; ";
  EXPECT_THAT(run(watch + demo + "kill $!; wait $!"),
              Pair(kSuccess, ContainsRegex("^[0-9]+ events .*Hz\nvsync .* events .*\ninterval")));
  EXPECT_THAT(run(watch + " --seconds 60 --trace /none/x"), Pair(kFailure, ""));
  const TemporaryFolder folder;
  const std::string trace = folder.path() + "/trace";
  const auto [status, text] =
      run(watch + " --json --seconds 1.2 --trace " + trace + demo + "wait $!");
  EXPECT_EQ(status, kSuccess);
  const auto summary = nlohmann::json::parse(text);
  EXPECT_GT(summary["events"], 10);
  EXPECT_GE(summary["seconds"], 1.2);
  EXPECT_LE(summary["interval_us"]["median"], summary["interval_us"]["p99"]);
  const auto events = nlohmann::json::parse(std::ifstream(trace))["traceEvents"];
  const auto isInstant = [](const auto& event) { return event["ph"] == "i"; };
  EXPECT_EQ(std::count_if(events.begin(), events.end(), isInstant), summary["events"]);
}

TEST(Lmctl, StoresAreFilledShownAndEmptied) {
  std::string folder = testing::TempDir() + "lmctl-XXXXXX";
  ASSERT_NE(mkdtemp(folder.data()), nullptr);
  std::ofstream(folder + "/text") << "b/=a/\n";
  const std::string file = folder + "/launch_history.db ";
  const std::string table = file + "launch_history ";
  const std::string rebuild = "favourites rebuild --dir " + folder;
  const std::string row = "rowid  int  app  rsvd  launches\n1      3    a          5\n";
  const std::string favourite = "rowid  int  app  rsvd  launches\n1      -    a          5\n";
  using Step = std::tuple<std::string, int, std::string>;
  for (const auto& [words, status, out] : {
           Step{"db dump " + table, kFailure, ""},
           Step{"db put " + table + "five --app a", kFailure, ""},
           Step{"db put " + table + "5", kFailure, ""},
           Step{"db put " + table + "5 --app a --int 3", kSuccess, ""},
           Step{"db put " + table + "6 --app b\xff", kSuccess, ""},
           Step{"db put " + file + "'x;y' 5 --app a", kUsage, ""},
           Step{"db dump " + table + "--app it\\'s", kUsage, ""},
           Step{"db dump " + table + "--app a", kSuccess, row},
           Step{"db dump " + table + "--json", kSuccess, "\"app\": \"b\xef\xbf\xbd\""},
           Step{rebuild + " --text-file " + folder + "/text", kSuccess, "week_end_1        a/\n"},
           Step{rebuild + " --text a/", kSuccess, "favourite_launches\n" + favourite},
           Step{rebuild + " --text a/ --json", kSuccess, "\"launches\": 5"},
           Step{"db delete " + table + "--int 3", kSuccess, "deleted 1\n"},
           Step{"db delete " + table, kSuccess, "deleted 1\n"},
           Step{"db dump " + table, kSuccess, "(no rows)\n"},
       }) {
    EXPECT_THAT(run(words), Pair(status, HasSubstr(out))) << words;
  }
  std::filesystem::remove_all(folder);
}

TEST(Lmctl, BadRowsAreNamedAndNothingIsWritten) {
  const TemporaryFolder folder;
  const std::string good = "app,int,launches\na,,1\n";
  const std::string object = R"({"app": "a", "launches": 1})";
  for (const auto& [rows, problem] : std::vector<std::pair<std::string, const char*>>{
           {"", "line 1, column 1: no app"},
           {"app,launches,app\n", "column 14: column 'app' is there twice"},
           {good + "b,2147483647,1\n", "rows: line 3, column 3: '2147483647' is no whole number"},
           {good + "\"b\nb\",,1\n,,1\n", "line 5, column 1: no app"},
           {good + "b\"b,,1\n", "line 3, column 2: a comma"},
           {good + "b,\"1,2\n", "line 3, column 3: the quoted field does not end"},
           {object + "\n{\"app\": b}", "line 2, column 9: syntax error"},
           {object + object.substr(0, 9), "line 1, column 28: the object does not end"},
           {"[" + object, "column 29: the array does not end"}}) {
    std::ofstream(folder.path() + "/rows") << rows;
    EXPECT_THAT(run("db put " + folder.path() + "/db t --from " + folder.path() + "/rows 2>&1"),
                Pair(kFailure, HasSubstr(problem)));
    EXPECT_FALSE(std::filesystem::exists(folder.path() + "/db"));
  }
}

TEST(Lmctl, RowsKeepTheirFieldsAndADumpCanBePutBack) {
  const TemporaryFolder folder;
  const auto db = [&](const std::string& command, const std::string& fileAndOptions) {
    return run("db " + command + " " + folder.path() + "/" + fileAndOptions).second;
  };
  const std::string rows = folder.path() + "/rows";
  std::ofstream(rows) << "\xEF\xBB\xBFrsvd,app,int,rowid,launches\r\nr,\"i\"\"s\",7,9,1\r\n\n"
                         ",b,,,-2\n\"x\n,y\",c,,,3";
  EXPECT_THAT(db("put", "a t --from " + rows), ContainsRegex("^put 3 rows in [0-9.]+ s\n"));
  EXPECT_EQ(db("dump", "a t"),
            "rowid  int  app  rsvd  launches\n1      -    b          -2\n"
            "2      -    c    x\n,y  3\n3      7    i\"s  r     1\n");
  std::string dump = db("dump", "a t --json");
  std::ofstream(rows) << dump;
  db("put", "b t --from - <" + rows);
  EXPECT_EQ(db("dump", "b t --json"), dump);
  std::ofstream(rows) << dump.replace(dump.find("-2"), 2, "12");
  db("put", "b t --update --from " + rows);
  EXPECT_EQ(db("dump", "b t --json"), dump);
}

TEST(Distribution, AnEventBelongsToTheLastNotificationBeforeIt) {
  const auto at = [](int us) { return Clock::time_point(std::chrono::microseconds(us)); };
  const Distribution times = latencies({at(100), at(200)}, {at(50), at(130), at(199), at(201)});
  EXPECT_EQ(times.percentile(0), 1);
  EXPECT_EQ(times.median(), 30);
  EXPECT_EQ(times.largest(), 99);
}

}  // namespace
