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

TEST(Distribution, AnEventBelongsToTheLastNotificationBeforeIt) {
  const auto at = [](int us) { return Clock::time_point(std::chrono::microseconds(us)); };
  const Distribution times = latencies({at(100), at(200)}, {at(50), at(130), at(199), at(201)});
  EXPECT_EQ(times.percentile(0), 1);
  EXPECT_EQ(times.median(), 30);
  EXPECT_EQ(times.largest(), 99);
}

}  // namespace
