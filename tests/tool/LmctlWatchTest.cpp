#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <csignal>
#include <iostream>
#include <map>

#include <android-base/unique_fd.h>

#include "Trace.h"
#include "testing/TemporaryFolder.h"

using nlohmann::json;
using testing::ContainsRegex;

namespace {

using Slices = std::vector<std::pair<double, double>>;  ///< begins and lengths in us

/** The slices of each track of the trace in a file, none of which overlap. */
std::map<int, Slices> readSlices(const std::string& path) {
  std::map<int, Slices> tracks;
  const json trace = json::parse(std::ifstream(path));
  for (const json& event : trace.value("traceEvents", json())) {
    EXPECT_TRUE(event.contains("pid") && event.contains("tid") && event.contains("name"));
    if (event["ph"] == "X") {
      Slices& track = tracks[event["tid"]];
      EXPECT_GE(event["ts"], track.empty() ? 0 : track.back().first + track.back().second);
      track.emplace_back(event["ts"], event["dur"]);
    }
  }
  return tracks;
}

TEST(LmctlWatch, FramesAreSummedUpAndTracedAfterASignal) {
  const TemporaryFolder folder;
  const std::string path = folder.path() + "/fifo";
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  const android::base::unique_fd fifo(open(path.c_str(), O_RDWR));
  std::string records;
  for (const int start : {1000, 1016, 1032, 1064, 1080, 1096, 1112, 1176}) {
    for (const int stage : {1, 2, 3}) {
      records += "0 " + std::to_string(start) + " 7 " + std::to_string(stage) + " " +
                 std::to_string(start + 4 * (stage - 1)) + "500 0:";
    }
  }
  records.erase(records.rfind("0 1176 7 3"));  // dropped before its third stage
  EXPECT_EQ(write(fifo.get(), records.data(), records.size()), std::ssize(records));

  const std::string command = "echo $$; exec " LMCTL " watch gfx --seconds 60 --node " + path +
                              " --trace " + path + ".json 2>&1";
  FILE* const pipe = popen(command.c_str(), "r");
  pid_t pid = 0;
  ASSERT_EQ(fscanf(pipe, "%d\n", &pid), 1);
  std::string output;
  for (char line[256]; fgets(line, sizeof(line), pipe) != nullptr; output += line) {
    if (line == std::string("8 frames   39.8 Hz\n")) {
      kill(pid, SIGINT);
    }
  }
  EXPECT_EQ(pclose(pipe), 0);
  EXPECT_THAT(output, ContainsRegex("lmctl: no control node: item 8 .* --ctrl PATH\n"));
  EXPECT_THAT(output, ContainsRegex("\nframes     8 started   7 finished   39.8 Hz\n"
                                    "late       2 frames   4 refreshes missed   period 16.00 ms\n"
                                    "stage 1-2  median 4.00 ms .*\nstage 2-3  median 4.00 ms .*\n"
                                    "interval   median 16.00 ms .* largest 64.00 ms\n"));
  std::size_t count = 0;
  const auto tracks = readSlices(path + ".json");
  for (const auto& [track, slices] : tracks) {
    count += slices.size();
    EXPECT_EQ(slices[0].second, 4000);
  }
  EXPECT_EQ(count, 8u + 7u);
}

TEST(Trace, DurationsEndWithTheirArrivalUnlessTheirTracksAreTaken) {
  const TemporaryFolder folder;
  const std::string path = folder.path() + "/trace.json";
  const auto at = [](int ms) { return Clock::time_point(std::chrono::milliseconds(ms)); };
  Durations durations;
  durations.add({2, 3.5}, at(1010));
  durations.add({1}, at(1020));
  durations.add({15}, at(1021));
  durations.add({50, 6, 5}, at(1022));
  durations.add({20}, at(1023));
  std::ofstream(path) << "{}";
  TraceWriter trace(path, std::cout, at(1000));
  trace.addSlices("stage", durations);
  EXPECT_TRUE(readSlices(path).empty());  // still what was there
  trace.finish();
  const std::map<int, Slices> expected = {
      {1, {{4500, 2000}, {6500, 3500}, {19000, 1000}, {20000, 20000}}},
      {2, {{6000, 15000}}},
      {3, {{0, 50000}}},
      {4, {{11000, 6000}, {17000, 5000}}}};
  EXPECT_EQ(readSlices(path), expected);
}

}  // namespace
