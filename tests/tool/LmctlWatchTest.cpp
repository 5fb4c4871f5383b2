#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <fstream>
#include <map>
#include <sstream>

#include <android-base/unique_fd.h>

#include "AsyncEventsMgr.h"
#include "RunLmctl.h"
#include "testing/TemporaryFolder.h"
#include "watch/Trace.h"

using nlohmann::json;
using testing::ContainsRegex;
using testing::HasSubstr;

namespace {

/** A FIFO in place of a frame node, with records in it. */
class FrameFifo {
 public:
  explicit FrameFifo(const std::string& records, const std::string& name = "fifo")
      : path(folder.path() + "/" + name) {
    EXPECT_EQ(mkfifo(path.c_str(), 0600), 0);
    mFile.reset(open(path.c_str(), O_RDWR));
    EXPECT_EQ(write(mFile.get(), records.data(), records.size()),
              static_cast<ssize_t>(records.size()));
  }

  const TemporaryFolder folder;
  const std::string path;

 private:
  android::base::unique_fd mFile;
};

/** Runs lmctl until it prints a line with a text, sends it a signal, and returns its whole output. */
std::string runUntil(const std::string& words, const char* text, int signal = SIGTERM) {
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

std::size_t countOfPhase(const json& events, const char* phase) {
  return static_cast<std::size_t>(std::count_if(
      events.begin(), events.end(), [&](const json& event) { return event["ph"] == phase; }));
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
    const FrameFifo frames(records);
    const std::string trace = frames.folder.path() + "/trace";
    const std::string output = runUntil("watch gfx --node " + frames.path + " --trace " + trace,
                                        "8 frames   39.8 Hz", signal);
    EXPECT_THAT(output, ContainsRegex("lmctl: no control node: item 8 .* --ctrl PATH\n"));
    EXPECT_THAT(output, ContainsRegex("\nframes     8 started   7 finished   39.8 Hz\n"
                                      "late       2 frames   4 refreshes missed   period 16.00 ms\n"
                                      "stage 1-2  median 4.00 ms .*\nstage 2-3  median 4.00 ms .*\n"
                                      "interval   median 16.00 ms .* largest 64.00 ms\n"));
    EXPECT_EQ(countOfPhase(traceEvents(trace), "X"), 8u + 7u);
  }
}

TEST(LmctlWatch, ASampleNeedsNoNode) {
  const TemporaryFolder folder;
  const std::string trace = folder.path() + "/trace";
  EXPECT_THAT(runUntil("watch vsync --sample --trace " + trace, " Hz"),
              ContainsRegex("\nvsync .* events .* Hz\njitter .* us\ninterval  .* us\n"));
  EXPECT_GE(countOfPhase(traceEvents(trace), "i"), 2u);
  EXPECT_EQ(memberNames(run("watch vsync --sample --seconds 0.1 --json").second),
            "source seconds events rate_hz interval_us jitter_us");
  EXPECT_THAT(runUntil("watch gfx --sample", " Hz"), HasSubstr("\nframes  "));
  EXPECT_THAT(runUntil("watch thermal --sample", "cpu 41.5 C"), HasSubstr("zone  milli"));
}

TEST(LmctlWatch, WithoutAnIntervalThereAreNoFigures) {
  const FrameFifo frames("");
  const auto none = nlohmann::ordered_json::parse(
      run("watch gfx --seconds 0.2 --json 2>/dev/null --node " + frames.path).second);
  EXPECT_EQ(memberNames(none.dump()),
            "source seconds reads frames finished rate_hz period_ms late_from_ms late "
            "missed_refreshes interval_ms stage_1_to_2_ms stage_2_to_3_ms");
  EXPECT_EQ(std::count(none.begin(), none.end(), nullptr), 8);
  EXPECT_THAT(runUntil("watch gfx --node " + frames.path, "no frame yet"),
              HasSubstr("\nframes     none in 0 reads\n"));
  const FrameFifo one("0 1 1 1 9000");
  EXPECT_THAT(runUntil("watch gfx --node " + one.path, "1 frame\n"),
              HasSubstr("\nframes     1 started   0 finished\nstage 1-2  none\nstage 2-3  none\n"
                        "interval   none"));
  EXPECT_EQ(memberNames(run("watch thermal --seconds 0.1 --json").second), "source seconds zones");
}

TEST(Trace, StagesFollowEachOtherAndEndWithTheirArrival) {
  const TemporaryFolder folder;
  const std::string path = folder.path() + "/trace.json";
  Recording frames = {kFrames, "", Clock::time_point(std::chrono::seconds(1))};
  const auto add = [&](const GfxFrameData& sample, int ms) {
    frames.add(&sample, Clock::time_point(std::chrono::milliseconds(ms)));
  };
  add({{4, 1}, {9, 16.6666}, {2, 3.0004}}, 1020);
  add({{}, {}, {3}}, 1030);
  add({{5}, {}, {}}, 1040);
  add({{}, {}, {50}}, 1041);
  std::ofstream trace(path);
  writeTrace({frames}, trace);
  trace.close();
  std::map<int, std::string> tracks;
  for (const json& event : traceEvents(path)) {
    if (event["ph"] == "X") {
      const int begin = event["ts"];
      tracks[event["tid"]] += event["name"].get<std::string>() + ": " + std::to_string(begin) +
                              "-" + std::to_string(begin + event["dur"].get<int>()) + "\n";
    }
  }
  const std::map<int, std::string> expected = {
      {1,
       "frame 1: 10000-12000\nframe 2: 16000-19000\nframe 3: 27000-30000\n"
       "frame 4: 30000-41000\n"},
      {2, "frame 1: 12000-16000\nframe 2: 19000-20000\nframe 3: 35000-40000\n"}};
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
  const json record = recordOf(std::ifstream(files + "-report.html"));
  EXPECT_EQ(record["favourites"].size(), 3u);
  const json events = traceEvents(files + "-trace.json");
  EXPECT_GE(countOfPhase(events, "i"), record["vsync"]["events"].get<std::size_t>());
  EXPECT_EQ(countOfPhase(events, "X"), record["frames"]["stages_1_to_2"]["values"].size() +
                                           record["frames"]["stages_2_to_3"]["values"].size());
}

TEST(LmctlReport, ThePageHasTheRecord) {
  const FrameFifo frames(
      "0 1 1 1 10000 0:0 2 1 1 26000 0:0 3 1 1 42000 0:0 4 1 1 74000 0:0 1 1 2 12000 0:",
      "<!--<script>");
  const std::string page = frames.folder.path() + "/report.html";
  std::ofstream(page) << "old";
  const auto [status, text] =
      run("report --seconds 0.3 --json -o " + page + " --frame-node '" + frames.path + "'");
  const json record = json::parse(text);
  EXPECT_EQ(status, kSuccess);
  EXPECT_EQ(recordOf(std::ifstream(page)), record);
  EXPECT_EQ(record["frames"]["node"], frames.path);
  EXPECT_EQ(record["vsync"], nullptr);
  EXPECT_EQ(record["left_out"][0]["part"], "vsync");
  EXPECT_EQ(record["frames"]["late"], 1);
  EXPECT_EQ(record["frames"]["intervals"]["values"], json({16, 16, 32}));
  const std::string printed = run("report --sample --seconds 0.3 -o -").second;
  EXPECT_GT(recordOf(std::istringstream(printed))["vsync"]["events"], 2);
}

}  // namespace
