#include "report/Record.h"

#include <sys/utsname.h>

#include <cmath>
#include <fstream>

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

Json eventsRecord(const Watched::Events& events, const Json& figures) {
  const auto& [node, begin, end, recording] = events;
  Json record = {{"node", node}, {"seconds", toSeconds(end - begin)}};
  record.update(figures);
  record["intervals"] = series(recording.intervals, begin);
  record["stages_1_to_2"] = series(recording.firstToSecond, begin);
  record["stages_2_to_3"] = series(recording.secondToThird, begin);
  return record;
}

std::string utcText(std::time_t time) {
  std::tm utc = {};
  gmtime_r(&time, &utc);
  char text[sizeof("2000-01-01 00:00:00 UTC")];
  std::strftime(text, sizeof(text), "%F %T UTC", &utc);
  return text;
}

utsname systemNames() {
  utsname names = {};
  uname(&names);
  return names;
}

}  // namespace

std::string deviceName() {
  std::string model;
  if (std::getline(std::ifstream("/proc/device-tree/model"), model, '\0') && !model.empty()) {
    return model;
  }
  return systemNames().nodename;
}

Json makeRecord(Watched watched) {
  const auto& [device, begun, vsync, frames, favourites, leftOut] = watched;
  StatsProvider stats = probeQuietly();
  if (!stats.supportsSysStats) {
    watched.leaveOut("statistics", "this kernel does not have the netlink family SYSSTATS");
  }
  if (favourites.is_null() && FetchPreferredApps().getWeekTimePreferredApps().empty()) {
    watched.leaveOut("favourites", "the framework has no text of them");
  } else if (favourites.is_null()) {
    watched.favourites = computeFavourites({})["time_slots"];
  }
  const utsname system = systemNames();
  return {
      {"device", device},
      {"system", std::string(system.sysname) + " " + system.release + ", " + system.machine},
      {"begun", utcText(begun)},
      {"vsync", vsync ? eventsRecord(*vsync, vsyncFigures(vsync->recording)) : Json()},
      {"frames", frames ? eventsRecord(*frames, frameFigures(frames->recording)) : Json()},
      {"memory", memoryFigures(stats.getMemInfo())},
      {"favourites", favourites},
      {"statistics", stats.supportsSysStats ? systemSlots(stats.getSysStats()) : Json()},
      {"left_out", leftOut},
  };
}
