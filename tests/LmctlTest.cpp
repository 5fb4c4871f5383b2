#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "AsyncEventsMgr.h"
#include "Distribution.h"
#include "HostCore.h"
#include "HostNameNode.h"
#include "Lmctl.h"
#include "TestSource.h"
#include "WatchVsync.h"
#include "config/DynamicLoader.h"

using testing::ContainsRegex;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

using std::chrono::microseconds;

class Lmctl : public testing::Test {
 protected:
  int run(std::vector<const char*> arguments) {
    mOut.str("");
    mErr.str("");
    arguments.insert(arguments.begin(), "lmctl");
    return lmctl(static_cast<int>(arguments.size()), arguments.data(), mConsole);
  }

  std::ostringstream mOut;
  std::ostringstream mErr;
  Console mConsole{mOut, mErr, false};
};

TEST_F(Lmctl, HelpIsThereOnEveryLevel) {
  EXPECT_EQ(run({"--help"}), kSuccess);
  EXPECT_THAT(mOut.str(), HasSubstr("watch"));
  EXPECT_EQ(run({"watch", "vsync", "--help"}), kSuccess);
  EXPECT_THAT(mOut.str(), HasSubstr("--node PATH"));
  EXPECT_TRUE(mErr.str().empty());
}

TEST_F(Lmctl, ErrorsAreOneLineThatNamesWhatToDo) {
  hostcore::clearItem(kVsyncNodeItem);
  const std::string longPath(150, 'x');
  struct Case {
    std::vector<const char*> arguments;
    int status;
    const char* error;
    const char* advice;
  };
  for (const Case& c : {
           Case{{}, kUsage, "lmctl: ", "see 'lmctl --help'"},
           Case{{"nonsense"}, kUsage, "lmctl: ", "nonsense"},
           Case{{"watch", "vsync", "--seconds", "x"},
                kUsage,
                "lmctl watch vsync: ",
                "see 'lmctl watch vsync --help'"},
           Case{{"demo", "--seconds", "0"}, kUsage, "lmctl demo: ", "--seconds"},
           Case{{"watch", "vsync", "--node", longPath.c_str()},
                kUsage,
                "lmctl watch vsync: ",
                "longer than 149 bytes"},
           Case{{"watch", "vsync"},
                kFailure,
                "lmctl: no vsync node: item 22 is not configured",
                "--node PATH"},
           Case{{"watch", "vsync", "--node", "/nowhere"},
                kFailure,
                "lmctl: no vsync node: /nowhere: No such file",
                "--node PATH"},
       }) {
    EXPECT_EQ(run(c.arguments), c.status);
    EXPECT_THAT(mErr.str(), StartsWith(c.error));
    EXPECT_THAT(mErr.str(), HasSubstr(c.advice));
    EXPECT_EQ(mErr.str().find('\n'), mErr.str().size() - 1) << mErr.str();
    EXPECT_TRUE(mOut.str().empty());
  }
}

TEST_F(Lmctl, WatchSumsUpWhatArrived) {
  const HostNameNode node;
  hostcore::setItem(kVsyncNodeItem, HostNameNode::kPath);
  std::atomic<bool> done = false;
  std::thread display([&] {
    while (!done) {
      node.notify();
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  });
  for (const bool json : {true, false}) {
    TestSource source(node);
    mOut.str("");
    EXPECT_EQ(watchVsync(source, {.seconds = 1.2, .json = json}, mConsole), kSuccess);
    if (json) {
      const auto summary = nlohmann::json::parse(mOut.str());
      EXPECT_GT(summary["events"], 10);
      EXPECT_GE(summary["seconds"], 1.2);
      EXPECT_LE(summary["interval_us"]["median"], summary["interval_us"]["p99"]);
    } else {
      EXPECT_THAT(mOut.str(), ContainsRegex("^[0-9]+ events .*Hz\nvsync .* events .*\ninterval"));
    }
  }
  done = true;
  display.join();
}

TEST_F(Lmctl, StoresAreFilledShownAndEmptied) {
  std::string folder = testing::TempDir() + "lmctl-XXXXXX";
  ASSERT_NE(mkdtemp(folder.data()), nullptr);
  const std::string db = folder + "/launch_history.db";
  const std::string text = folder + "/text";
  std::ofstream(text) << "b/=a/\n";
  struct Step {
    std::vector<const char*> arguments;
    int status;
    const char* out;
  };
  const char* const file = db.c_str();
  const char* const table = "launch_history";
  for (const Step& step : {
           Step{{"db", "dump", file, table}, kFailure, ""},
           Step{{"db", "put", file, table, "five", "--app", "a"}, kFailure, ""},
           Step{{"db", "put", file, table, "5"}, kFailure, ""},
           Step{{"db", "put", file, table, "5", "--app", "a", "--int", "3"}, kSuccess, ""},
           Step{{"db", "put", file, table, "6", "--app", "b\xff"}, kSuccess, ""},
           Step{{"db", "put", file, "x;y", "5", "--app", "a"}, kUsage, ""},
           Step{{"db", "dump", file, table, "--app", "it's"}, kUsage, ""},
           Step{{"db", "dump", file, table, "--app", "a"},
                kSuccess,
                "rowid  int  app  rsvd  launches\n1      3    a          5\n"},
           Step{{"db", "dump", file, table, "--json"}, kSuccess, "\"app\": \"b\xef\xbf\xbd\""},
           Step{{"favourites", "rebuild", "--dir", folder.c_str(), "--text-file", text.c_str()},
                kSuccess,
                "week_end_1        a/\n"},
           Step{{"favourites", "rebuild", "--dir", folder.c_str(), "--text", "a/"},
                kSuccess,
                "favourite_launches\nrowid  int  app  rsvd  launches\n1      -    a          5\n"},
           Step{{"db", "delete", file, table, "--int", "3"}, kSuccess, "deleted 1\n"},
           Step{{"db", "delete", file, table}, kSuccess, "deleted 1\n"},
           Step{{"db", "dump", file, table}, kSuccess, "(no rows)\n"},
       }) {
    EXPECT_EQ(run(step.arguments), step.status) << mErr.str();
    EXPECT_THAT(mOut.str(), HasSubstr(step.out));
    EXPECT_EQ(mErr.str().empty(), step.status == kSuccess);
  }
  std::filesystem::remove_all(folder);
}

/** Runs a shell command; returns its exit status and output. */
std::pair<int, std::string> shell(const std::string& command) {
  FILE* const pipe = popen(command.c_str(), "r");
  std::string output;
  for (std::array<char, 256> text; fgets(text.data(), text.size(), pipe) != nullptr;) {
    output += text.data();
  }
  return {WEXITSTATUS(pclose(pipe)), output};
}

TEST(LmctlProcess, DemoDeliversEventsAndASignalEndsAWatchWithItsSummary) {
  const auto [status, output] = shell(LMCTL " demo --seconds 0.5");
  EXPECT_EQ(status, kSuccess);
  EXPECT_THAT(output, ContainsRegex("[1-9][0-9]* sent +[1-9][0-9]* received"));
  EXPECT_THAT(output, ContainsRegex("com.chat +17\n"));
  const auto [watchStatus, watchOutput] =
      shell(std::string(LMCTL " watch vsync --node ") + HostNameNode::kPath +
            " & sleep 1; kill $!; wait $!");
  EXPECT_EQ(watchStatus, kSuccess);
  EXPECT_THAT(watchOutput, HasSubstr("interval"));
}

TEST(Distribution, AnEventBelongsToTheLastNotificationBeforeIt) {
  const Clock::time_point zero;
  const std::vector<Clock::time_point> notified = {zero + microseconds(100),
                                                   zero + microseconds(200)};
  const Distribution times =
      latencies(notified, {zero + microseconds(50), zero + microseconds(130),
                           zero + microseconds(199), zero + microseconds(201)});
  EXPECT_EQ(times.percentile(0), 1);
  EXPECT_EQ(times.median(), 30);
  EXPECT_EQ(times.largest(), 99);
}

}  // namespace
