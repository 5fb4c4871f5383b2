#include <gmock/gmock.h>

#include <algorithm>
#include <cctype>
#include <map>
#include <nlohmann/json.hpp>

#include "HostCore.h"
#include "RunLmctl.h"
#include "config/DynamicLoader.h"
#include "testing/FakeKernel.h"
#include "testing/HostNameNode.h"
#include "testing/TemporaryFolder.h"

using testing::Contains;
using testing::ContainsRegex;
using testing::HasSubstr;

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
        Case{{"nonsense", "--help"}, kUsage, "lmctl: no command 'nonsense'"},
        Case{{"--item", "22", "mem"}, kUsage, "'22' is not an item's number, '=' and a path"},
        Case{{"mem", "--item", "-5=/x"}, kUsage, "'-5=/x' is not an item's number"},
        Case{{"mem", "--", "--json"}, kUsage, "'--json' belongs after the command and before any"},
        Case{{"mem", "--json=x"}, kUsage, "lmctl mem: a flag takes no value"},
        Case{{"stats", "range", "2", "1"}, kUsage, "lmctl stats range: FIRST is above LAST"},
        Case{{"services", "pids"}, kUsage, "NAME is required"},
        Case{{"doctor", "vsync", "nonsense"},
             kUsage,
             "no service 'nonsense'; there are core-library"},
        Case{{"node", "write", "3", "x", "--item", "3=/proc"}, kFailure, "/proc: Is a directory"},
        Case{{"watch", "vsync", "--help"}, kSuccess, "--node PATH"}}) {
    const LmctlResult result = runLmctl(words);
    EXPECT_EQ(result.status, status);
    const std::string& text = status == kSuccess ? result.out : result.err;
    EXPECT_THAT(text, ContainsRegex(error));
    EXPECT_EQ(status != kSuccess, std::count(text.begin(), text.end(), '\n') == 1) << text;
  }
}

/** The help of a command and of those below it, in the order in which they are listed. */
std::string allHelp(const std::string& command) {
  const std::string help = runLine(command + " --help").out;
  std::string all = help;
  std::istringstream lines(help);
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with("  ") && std::islower(static_cast<unsigned char>(line[2])) != 0) {
      all += allHelp(command + " " + line.substr(2, line.find(' ', 2) - 2));
    }
  }
  return all;
}

TEST(Lmctl, HelpOfAllCommandsFitsATerminal) {
  std::istringstream help(allHelp(""));
  std::vector<std::string> usages;
  for (std::string line; std::getline(help, line);) {
    EXPECT_LE(line.size(), 80u) << line;
    if (line.starts_with("Usage: ")) {
      usages.push_back(line);
    }
  }
  EXPECT_EQ(usages.size(), 28u);
  EXPECT_THAT(usages, Contains("Usage: lmctl db put [OPTION...] FILE TABLE [VALUE]"));
}

TEST(Lmctl, DoctorTellsWhatIsThereFromWhatIsMissing) {
  const std::string node = HostNameNode::kPath;
  for (const auto& [item, finding] :
       std::map<std::string, std::string>{{"23=/x", "missing: item 22 is not configured"},
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
  EXPECT_THAT(all.out,
              ContainsRegex("\nmissing  vsync  .*\n         "
                            "(set item 22 in |on this simulated device, give --item 22=)"));
}

TEST(Lmctl, NodeWriteTellsWhatTheDriverMadeOfIt) {
  const LmctlResult cut =
      runLine("node write 3 longer-than-fifteen --json --item 3=/proc/self/comm");
  EXPECT_EQ(cut.status, kSuccess) << cut.err;
  EXPECT_EQ(nlohmann::json::parse(cut.out)["read"], "longer-than-fif");
  const LmctlResult refused = runLine("node write 3 x --item 3=/proc/self/oom_score_adj");
  EXPECT_EQ(refused.status, kFailure);
  EXPECT_THAT(refused.err, HasSubstr("/proc/self/oom_score_adj: not written: Invalid argument\n"));
  EXPECT_EQ(runLine("node write 3 x --item 3=/dev/null").out, "/dev/null: written\n");
}

TEST(Lmctl, MembersOfJsonKeepTheirNames) {
  const TemporaryFolder folder;
  runLine("db put " + folder.path() + "/db t 1 --app a");
  for (const auto& [words, names] : std::vector<std::pair<std::string, std::string>>{
           {"mem", "swap_used_kb swap_total_kb vmalloc_used_kb"},
           {"db tables " + folder.path() + "/db", "table payload rows"},
           {"db dump " + folder.path() + "/db t", "rowid int app rsvd launches"},
           {"db delete --all " + folder.path() + "/db t", "deleted"}}) {
    EXPECT_EQ(memberNames(runLine(words + " --json").out), names) << words;
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
  EXPECT_THAT(runLine("--version").out,
              ContainsRegex("^lmctl [1-9][0-9.]+\nlibrary +/.*/liblmsupport.*\n"
                            "core library +/.*/liblmhost.*\n$"));
}

}  // namespace
