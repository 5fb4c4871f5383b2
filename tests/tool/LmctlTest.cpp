#include <gmock/gmock.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "HostCore.h"
#include "RunLmctl.h"
#include "config/DynamicLoader.h"
#include "testing/FakeKernel.h"
#include "testing/HostNameNode.h"
#include "testing/TemporaryFolder.h"

using testing::ContainsRegex;
using testing::HasSubstr;

namespace {

TEST(Lmctl, ErrorsAreOneLineThatNamesWhatToDo) {
  hostcore::clearItem(kVsyncNodeItem);
  hostcore::clearItem(kGfxDataNodeItem);
  hostcore::clearText(kPreferredAppsKey);
  const std::string node = HostNameNode::kPath;
  struct Case {
    const char* name;
    std::string line;
    int status;
    const char* error;
  };
  for (const auto& [name, line, status, error] : {
           Case{"no command", "", kUsage, "lmctl: .*see 'lmctl --help'"},
           Case{"unknown command", "nonsense --help", kUsage, "lmctl: unexpected 'nonsense'"},
           Case{"misplaced flag", "--json mem", kUsage, "lmctl mem: unexpected '--json'"},
           Case{"not a number", "watch gfx --seconds x", kUsage, "Value x not in range 0.1"},
           Case{"out of range", "stats pid 0", kUsage, "PID: Value 0 not in range 1 to 4194304"},
           Case{"not an item", "mem --item -5=/x", kUsage, "'-5=/x' is not an item's number"},
           Case{"long path", "mem --item 2=" + std::string(150, 'x'), kUsage, "than 149 bytes"},
           Case{"wrong order", "stats range 2 1", kUsage, "lmctl stats range: FIRST is above LAST"},
           Case{"no service", "doctor nonsense", kUsage, "no service 'nonsense'; there are core-"},
           Case{"two sources", "watch vsync --sample --node " + node, kUsage, "excludes"},
           Case{"no result", "report", kUsage, "--output FILE, .*--json"},
           Case{"no text", "favourites rebuild --dir /none", kFailure, "no text of key 5638"},
           Case{"node is a folder", "node write 3 x --item 3=/proc", kFailure, "/proc: Is a direc"},
           Case{"no vsync item", "watch vsync", kFailure, "item 22 is not .*22=PATH.*--sample"},
           Case{"no tracker", "services active", kFailure, "service tracker cannot be reached"},
           Case{"no process", "pid --once absent", kFailure,
                "(bring it to|run it where) the foreground"},
           Case{"no items", "report --json", kFailure, "nothing to watch: item 22.*item 7.*"},
           Case{"no vsync node", "watch vsync --node /none", kFailure, "/none: No such file"},
           Case{"never blocks", "watch gfx --node /dev/null", kFailure, "neither .* nor a FIFO"},
           Case{"no control", "watch gfx --ctrl /none --node " + node, kFailure, "/none: .*8=PATH"},
           Case{"no folder", "demo --output /dev/null/x", kFailure, "folder.*--output"},
           Case{"no device", "demo --device /proc", kFailure, "/proc/vsync: No such file"},
       }) {
    const LmctlResult result = runLine(line);
    EXPECT_EQ(result.status, status) << name;
    EXPECT_THAT(result.err, ContainsRegex(error)) << name;
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
    EXPECT_EQ(result.out, "") << name;
  }
}

TEST(Lmctl, DoctorTellsWhatIsThereFromWhatIsMissing) {
  const std::string node = HostNameNode::kPath;
  for (const auto& [item, finding] :
       {std::pair<std::string, std::string>{"23=/x", "missing: item 22 is not configured"},
        {"22=/x", "missing: /x: No such file or directory"},
        {"22=/dev/null", "missing: /dev/null: not a kernel node"},
        {"22=" + node, "ok: item 22, " + node}}) {
    const LmctlResult result = runLine("doctor vsync --json --item " + item);
    const auto lines = nlohmann::json::parse(result.out);
    ASSERT_EQ(lines.size(), 1u);
    const auto& line = lines[0];
    EXPECT_EQ(line["state"].get<std::string>() + ": " + line["detail"].get<std::string>(), finding);
    EXPECT_EQ(line["state"] == "ok", line["what_to_do"].is_null()) << line;
    EXPECT_EQ(result.status, line["state"] == "ok" ? kSuccess : kFailure);
  }
  const LmctlResult all = runLine("doctor");
  EXPECT_EQ(all.status, kSuccess);
  EXPECT_THAT(all.out, ContainsRegex("\nmissing  vsync  .*\n         "
                                     "give --item 22="));
}

TEST(Lmctl, NodeWriteTellsWhatTheDriverMadeOfIt) {
  const LmctlResult cut =
      runLine("node write 3 longer-than-fifteen --json --item 3=/proc/self/comm");
  EXPECT_EQ(cut.status, kSuccess) << cut.err;
  EXPECT_EQ(nlohmann::json::parse(cut.out)["read"], "longer-than-fif");
  const LmctlResult refused = runLine("node write 3 x --item 3=/proc/self/oom_score_adj");
  EXPECT_EQ(refused.status, kFailure);
  EXPECT_THAT(refused.err, HasSubstr("/proc/self/oom_score_adj: not written: Invalid argument\n"));
  for (const std::string node :
       {"/dev/null", "/proc/self/clear_refs"}) {  // which cannot be read back
    EXPECT_THAT(runLine("node write 3 1 --item 3=" + node).out, HasSubstr(node + "  1        -"));
  }
}

TEST(Lmctl, MembersOfJsonKeepTheirNames) {
  const TemporaryFolder folder;
  const std::string file = folder.path() + "/db";
  runLine("db put " + file + " t 1 --app a");
  FakeKernel kernel;
  struct Case {
    std::string line;
    Attributes::value_type answer;
    const char* names;
  };
  for (const auto& [line, answer, names] :
       {Case{"mem", {}, "swap_used_kb swap_total_kb vmalloc_used_kb"},
        Case{"db tables " + file, {}, "table payload rows"},
        Case{"db dump " + file + " t", {}, "rowid int app rsvd launches"},
        Case{"db delete --all " + file + " t", {}, "deleted"},
        Case{"stats pid 1", {1, Bytes(152, 'p')}, "slot hex decimal"},
        Case{"stats sys", {4, Bytes(288, 's')}, "slot hex decimal"},
        Case{"stats range 1 2",
             {3, Bytes(152, 'r')},
             "0 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18"},
        Case{"stats name init", {5, Bytes(8, 'n')}, "pid entry"}}) {
    kernel.answer = {kernel.message({answer}, NLM_F_MULTI), kernel.done()};
    const LmctlResult result = runLine(line + " --json");
    ASSERT_EQ(result.status, kSuccess) << result.err;
    EXPECT_EQ(memberNames(result.out), names) << line;
  }
}

TEST(Lmctl, VersionNamesTheLibrariesThatAreLoaded) {
  EXPECT_THAT(runLine("--version").out,
              ContainsRegex("^lmctl [1-9][0-9.]+\nlibrary +/.*/liblmsupport.*\n"
                            "core library +/.*/liblmhost.*\n$"));
}

}  // namespace
