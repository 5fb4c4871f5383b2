#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>

#include <android-base/unique_fd.h>

#include "AsyncEventsMgr.h"
#include "HostCore.h"
#include "RunLmctl.h"
#include "config/DynamicLoader.h"
#include "testing/Distribution.h"
#include "testing/HostNameNode.h"
#include "testing/TemporaryFolder.h"
#include "watch/Trace.h"

using nlohmann::json;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Pair;

namespace {

TEST(LmctlWatch, WhatCannotBeWatchedIsNamedWithWhatToDo) {
  hostcore::clearItem(kVsyncNodeItem);
  hostcore::clearItem(kGfxDataNodeItem);
  constexpr auto kNode = HostNameNode::kPath;
  struct Case {
    const char* name;
    std::vector<const char*> words;
    int status;
    const char* error;
  };
  for (const auto& [name, words, status, error] : {
           Case{"no vsync item", {"watch", "vsync"}, kFailure, "item 22 is not .*PATH.*--sample"},
           Case{"no frame item", {"watch", "gfx"}, kFailure, "item 7 is not .*--node PATH"},
           Case{"no file", {"watch", "vsync", "--node", "/none"}, kFailure, "/none: No such file"},
           Case{"a folder", {"watch", "vsync", "--node", "/proc"}, kFailure, "/proc: Is a dir"},
           Case{"a program", {"watch", "gfx", "--node", "/proc/self/exe"}, kFailure, "neither"},
           Case{"a device", {"watch", "gfx", "--node", "/dev/null"}, kFailure, "nor a FIFO"},
           Case{"no control",
                {"watch", "gfx", "--node", kNode, "--ctrl", "/none"},
                kFailure,
                "--ctrl PATH"},
           Case{"two nodes", {"watch", "vsync", "--node", kNode, "--sample"}, kUsage, "excludes"},
           Case{"no result", {"report"}, kUsage, "--output FILE, .*--json"},
           Case{"no items", {"report", "--json"}, kFailure, "nothing to watch: item 22.*item 7.*"},
           Case{"no file", {"report", "--json", "--frame-node", "/none"}, kFailure, "/none: No"},
           Case{"no place", {"report", "--node", kNode, "-o", "/none/x"}, kFailure, "/none/x: No"},
           Case{"no folder", {"demo", "--output", "/dev/null/x"}, kFailure, "folder.*--output"},
           Case{"no device", {"demo", "--device", "/proc"}, kFailure, "/proc/vsync: No such file"},
       }) {
    const LmctlResult result = runLmctl(words);
    EXPECT_EQ(result.status, status) << name;
    EXPECT_THAT(result.err, ContainsRegex(error)) << name;
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
    EXPECT_EQ(result.out, "") << name;
  }
}

/** Runs lmctl until it prints a line with a text, sends it a signal, and returns its whole output. */
std::string runUntil(const std::string& words, const char* text, int signal) {
  FILE* const pipe = popen(("echo $$; exec " LMCTL " " + words + " 2>&1").c_str(), "r");
  pid_t pid = 0;
  EXPECT_EQ(fscanf(pipe, "%d\n", &pid), 1);
  std::string output;
  bool isStopped = false;
  for (char line[256]; fgets(line, sizeof(line), pipe) != nullptr; output += line) {
    if (!isStopped && strstr(line, text) != nullptr) {
      isStopped = kill(pid, signal) == 0;
    }
  }
  EXPECT_EQ(pclose(pipe), 0);
  return output;
}

json traceEvents(const std::string& path) {
  return json::parse(std::ifstream(path)).value("traceEvents", json());
}

int countOfPhase(const json& events, const char* phase) {
  return static_cast<int>(std::count_if(events.begin(), events.end(), [&](const json& event) {
    EXPECT_EQ(event.count("pid") + event.count("tid") + event.count("name"), 3u);
    return event["ph"] == phase;
  }));
}

TEST(LmctlWatch, FramesAreSummedUpAndTracedAfterAnyStopSignal) {
  std::string records;
  for (const int start : {1000, 1016, 1032, 1064, 1080, 1096, 1112, 1176}) {
    for (const int stage : {1, 2, 3}) {
      records += "0 " + std::to_string(start) + " 7 " + std::to_string(stage) + " " +
                 std::to_string(start + 4 * (stage - 1)) + "500 0:";
    }
  }
  records.erase(records.rfind("0 1176 7 3"));  // dropped before its third stage
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    const TemporaryFolder folder;
    const std::string path = folder.path() + "/fifo";
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    const android::base::unique_fd fifo(open(path.c_str(), O_RDWR));
    EXPECT_EQ(write(fifo.get(), records.data(), records.size()),
              static_cast<ssize_t>(records.size()));
    const std::string output = runUntil("watch gfx --node " + path + " --trace " + path + ".json",
                                        "8 frames   39.8 Hz", signal);
    EXPECT_THAT(output, ContainsRegex("lmctl: no control node: item 8 .* --ctrl PATH\n"));
    EXPECT_THAT(output, ContainsRegex("\nframes     8 started   7 finished   39.8 Hz\n"
                                      "late       2 frames   4 refreshes missed   period 16.00 ms\n"
                                      "stage 1-2  median 4.00 ms .*\nstage 2-3  median 4.00 ms .*\n"
                                      "interval   median 16.00 ms .* largest 64.00 ms\n"));
    EXPECT_EQ(countOfPhase(traceEvents(path + ".json"), "X"), 8 + 7);
  }
}

TEST(LmctlWatch, ASampleNeedsNoNode) {
  const TemporaryFolder folder;
  const std::string trace = folder.path() + "/trace";
  EXPECT_THAT(runUntil("watch vsync --sample --trace " + trace, " Hz", SIGTERM),
              ContainsRegex("\nvsync .* events .* Hz\njitter .* us\ninterval  .* us\n"));
  EXPECT_GE(countOfPhase(traceEvents(trace), "i"), 2);
  EXPECT_THAT(runUntil("watch gfx --sample", " Hz", SIGTERM), HasSubstr("\nframes  "));
  EXPECT_THAT(runUntil("watch thermal --sample", "cpu 42.0 C", SIGTERM), HasSubstr("zone  milli"));
}

TEST(LmctlWatch, WithoutAnIntervalThereAreNoFigures) {
  const TemporaryFolder folder;
  const std::string path = folder.path() + "/fifo";
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  const android::base::unique_fd fifo(open(path.c_str(), O_RDWR));
  const std::string watch = "watch gfx --seconds 0.2 --node " + path;
  const auto none = nlohmann::ordered_json::parse(run(watch + " --json 2>/dev/null").second);
  EXPECT_EQ(memberNames(none.dump()),
            "source seconds reads frames finished rate_hz period_ms late_from_ms late "
            "missed_refreshes interval_ms stage_1_to_2_ms stage_2_to_3_ms");
  EXPECT_EQ(std::count(none.begin(), none.end(), nullptr), 8);
  EXPECT_THAT(runUntil("watch gfx --node " + path, "no frame yet", SIGINT),
              HasSubstr("\nframes     none in 0 reads\n"));
  EXPECT_EQ(write(fifo.get(), "0 1 1 1 9000", 12), 12);
  EXPECT_THAT(runUntil("watch gfx --node " + path, "1 frame\n", SIGINT),
              HasSubstr("\nframes     1 started   0 finished\nstage 1-2  none\nstage 2-3  none\n"
                        "interval   none"));
  const std::string vsync = run("watch vsync --sample --seconds 0.1 --json").second;
  EXPECT_EQ(memberNames(vsync), "source seconds events rate_hz interval_us jitter_us");
  EXPECT_EQ(memberNames(run("watch thermal --seconds 0.1 --json").second), "source seconds zones");
}

TEST(Trace, StagesOfAFrameFollowEachOtherAndEndWithTheirArrival) {
  const TemporaryFolder folder;
  const std::string path = folder.path() + "/trace.json";
  const auto at = [](int ms) { return Clock::time_point(std::chrono::milliseconds(ms)); };
  Recording frames = {kMilliseconds};
  frames.addFrames({{4, 1}, {9, 16.6666}, {2, 3.0004}}, at(1010));
  frames.addFrames({{}, {}, {3}}, at(1020));
  frames.addFrames({{5}, {}, {}}, at(1030));
  frames.addFrames({{}, {}, {50}}, at(1031));
  std::ofstream(path) << "{}";
  TraceWriter trace(path, at(1000), std::cout);
  trace.addFrames(frames);
  EXPECT_TRUE(traceEvents(path).empty());  // still what was there
  trace.finish();
  std::map<int, std::string> tracks;
  for (const json& event : traceEvents(path)) {
    if (event["ph"] == "X") {
      const int begin = event["ts"];
      tracks[event["tid"]] += event["name"].get<std::string>() + ": " + std::to_string(begin) +
                              "-" + std::to_string(begin + event["dur"].get<int>()) + "\n";
    }
  }
  const std::map<int, std::string> expected = {
      {1, "frame 1: 3000-5000\nframe 2: 6000-9000\nframe 3: 17000-20000\nframe 4: 20000-31000\n"},
      {2, "frame 1: 5000-9000\nframe 2: 9000-10000\nframe 3: 25000-30000\n"}};
  EXPECT_EQ(tracks, expected);
}

/** The record in a report's page. */
json recordOf(std::istream&& page) {
  std::string line;
  while (std::getline(page, line) && line.find("id=\"record\"") == std::string::npos) {
  }
  std::getline(page, line);
  return json::parse(line);
}

TEST(LmctlDemo, AllServicesAreShownAndATraceAndAReportStay) {
  const TemporaryFolder folder;
  const std::string files = folder.path() + "/new/demo";
  const auto [status, text] = run("demo --seconds 0.5 --output " + folder.path() + "/new");
  EXPECT_EQ(status, kSuccess) << text;
  const std::string summary = text.substr(std::min(text.find("\nSummary"), text.size()));
  for (const std::string service :
       {"process lookup", "event sources", "statistics", "service tracker", "row store",
        "favourites", "node commands"}) {
    // Not every kernel has the statistics, nor namespaces for everybody.
    const bool mayMiss = service == "statistics" || geteuid() != 0;
    EXPECT_THAT(summary,
                ContainsRegex("\n" + service + (mayMiss ? " .* (ok|missing)\n" : " .* ok\n")));
  }
  const json events = traceEvents(files + "-trace.json");
  const json record = recordOf(std::ifstream(files + "-report.html"));
  EXPECT_GE(countOfPhase(events, "i"), record["vsync"]["events"]);
  const auto stages = record["frames"]["stages_1_to_2"]["values"].size() +
                      record["frames"]["stages_2_to_3"]["values"].size();
  EXPECT_EQ(countOfPhase(events, "X"), static_cast<int>(stages));
  EXPECT_EQ(record["favourites"].size(), 3u);
}

TEST(LmctlReport, ThePageHasTheRecord) {
  const TemporaryFolder folder;
  const std::string fifo = folder.path() + "/<!--<script>";
  const std::string page = folder.path() + "/report.html";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  std::fstream frames(fifo);
  frames << "0 1 1 1 10000 0:0 2 1 1 26000 0:0 3 1 1 42000 0:0 4 1 1 74000 0:0 1 1 2 12000 0:"
         << std::flush;
  std::ofstream(page) << "old";
  const std::string report = "report --seconds 0.3 --frame-node '" + fifo + "' -o ";
  const auto [status, text] = run(report + page + " --json");
  const json record = json::parse(text);
  EXPECT_EQ(status, kSuccess);
  EXPECT_EQ(recordOf(std::ifstream(page)), record);
  EXPECT_EQ(record["frames"]["node"], fifo);
  EXPECT_EQ(record["vsync"], nullptr);
  EXPECT_EQ(record["left_out"][0]["part"], "vsync");
  EXPECT_EQ(record["frames"]["late"], 1);
  EXPECT_EQ(record["frames"]["intervals"]["values"], json({16, 16, 32}));
  EXPECT_THAT(run(report + page), Pair(kSuccess, HasSubstr(page + "\n")));
  EXPECT_EQ(recordOf(std::istringstream(run(report + "-").second))["left_out"], record["left_out"]);
}

TEST(Distribution, AnEventBelongsToTheLastNotificationBeforeIt) {
  const auto at = [](int us) { return Clock::time_point(std::chrono::microseconds(us)); };
  const Distribution times = latencies({at(100), at(200)}, {at(50), at(130), at(199), at(201)});
  EXPECT_EQ(times.percentile(0), 1);
  EXPECT_EQ(times.median(), 30);
  EXPECT_EQ(times.largest(), 99);
}

}  // namespace
