#include "report/Record.h"

#include <sys/utsname.h>

#include <cmath>
#include <ctime>
#include <fstream>
#include <iomanip>
#include <nlohmann/json.hpp>
#include <sstream>

#include "Commands.h"
#include "FetchPreferredApps.h"
#include "db/Db.h"
#include "watch/Summary.h"

using Json = nlohmann::ordered_json;

namespace {

/** A number with few digits after the point, as there are many of them. */
double rounded(double value, double scale) { return std::round(value * scale) / scale; }

/** Durations, and when each ended. */
Json series(const Durations& durations, Clock::time_point begin) {
  Json ends = Json::array();
  Json values = Json::array();
  for (std::size_t i = 0; i < durations.values.size(); ++i) {
    ends.push_back(rounded(toSeconds(durations.arrivals[i] - begin), 1e4));
    values.push_back(rounded(durations.values[i], 1e2));
  }
  return {{"ends_s", ends}, {"values", values}};
}

Json eventsRecord(const Recording& recording) {
  Json record = {{"node", recording.node}, {"seconds", recording.seconds()}};
  record.update(figuresOf(recording));
  record["intervals"] = series(recording.intervals, recording.begin);
  record["stages_1_to_2"] = series(recording.firstToSecond, recording.begin);
  record["stages_2_to_3"] = series(recording.secondToThird, recording.begin);
  return record;
}

}  // namespace

Json beginRecord() {
  utsname system = {};
  uname(&system);
  const std::time_t now = std::time(nullptr);
  std::tm utc = {};
  std::ostringstream begun;
  begun << std::put_time(gmtime_r(&now, &utc), "%F %T UTC");
  std::string model;
  std::getline(std::ifstream("/proc/device-tree/model"), model, '\0');
  return {{"device", model.empty() ? system.nodename : model},
          {"system", std::string(system.sysname) + " " + system.release + ", " + system.machine},
          {"begun", begun.str()},
          {"vsync", nullptr},
          {"frames", nullptr},
          {"memory", nullptr},
          {"favourites", nullptr},
          {"statistics", nullptr},
          {"left_out", Json::array()}};
}

void leaveOut(const std::string& part, const std::string& reason, Json& record) {
  record["left_out"].push_back({{"part", part}, {"reason", reason}});
}

void completeRecord(const std::vector<Recording>& recordings, Json& record) {
  for (const Recording& recording : recordings) {
    record[recording.kind.part] = eventsRecord(recording);
  }
  StatsProvider stats = probeQuietly();
  record["memory"] = memoryFigures(stats.getMemInfo());
  if (stats.supportsSysStats) {
    record["statistics"] = systemSlots(stats.getSysStats());
  } else {
    leaveOut("statistics", "this kernel does not have the netlink family SYSSTATS", record);
  }
  const bool hasText = !FetchPreferredApps().getWeekTimePreferredApps().empty();
  if (record["favourites"].is_null() && hasText) {
    record["favourites"] = computeFavourites({})["time_slots"];
  } else if (record["favourites"].is_null()) {
    leaveOut("favourites", "the framework has no text of them", record);
  }
}
