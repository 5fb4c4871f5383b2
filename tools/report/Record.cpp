#include "report/Record.h"

#include <sys/utsname.h>

#include <algorithm>
#include <cmath>
#include <fstream>

#include "FetchPreferredApps.h"
#include "Stats.h"
#include "watch/Summary.h"

using Json = nlohmann::ordered_json;

namespace {

Json rounded(const std::vector<double>& values, int digits) {
  const double scale = std::pow(10, digits);
  Json list = Json::array();
  for (const double value : values) {
    list.push_back(std::round(value * scale) / scale);
  }
  return list;
}

/** When each arrived since begin, as a count of unit. */
std::vector<double> since(Clock::time_point begin, const std::vector<Clock::time_point>& arrivals,
                          double perSecond) {
  std::vector<double> values;
  values.reserve(arrivals.size());
  for (const Clock::time_point arrival : arrivals) {
    values.push_back(toSeconds(arrival - begin) * perSecond);
  }
  return values;
}

std::string utcText(std::time_t time) {
  std::tm utc = {};
  gmtime_r(&time, &utc);
  char text[sizeof("2000-01-01 00:00:00 UTC")];
  std::strftime(text, sizeof(text), "%F %T UTC", &utc);
  return text;
}

std::string systemName() {
  utsname name = {};
  uname(&name);
  return std::string(name.sysname) + " " + name.release + ", " + name.machine;
}

Json vsyncRecord(const Watched::Events& vsync) {
  Json record = {{"node", vsync.node}, {"seconds", toSeconds(vsync.end - vsync.begin)}};
  record.update(vsyncFigures(vsync.recording));
  record["arrivals_us"] = rounded(since(vsync.begin, vsync.recording.arrivals, 1e6), 1);
  return record;
}

Json framesRecord(const Watched::Events& frames) {
  const Recording& recording = frames.recording;
  Json record = {{"node", frames.node}, {"seconds", toSeconds(frames.end - frames.begin)}};
  record.update(frameFigures(recording));
  record["intervals_ms"] = rounded(recording.intervals.values, 2);
  record["interval_ends_s"] = rounded(since(frames.begin, recording.intervals.arrivals, 1), 4);
  record["stages_1_to_2_ms"] = rounded(recording.firstToSecond.values, 2);
  record["stages_2_to_3_ms"] = rounded(recording.secondToThird.values, 2);
  return record;
}

/** From the first beginning to the last end. */
double watchedSeconds(const Watched& watched) {
  auto begin = Clock::time_point::max();
  auto end = Clock::time_point::min();
  for (const auto& events : {watched.vsync, watched.frames}) {
    begin = events ? std::min(begin, events->begin) : begin;
    end = events ? std::max(end, events->end) : end;
  }
  return begin < end ? toSeconds(end - begin) : 0;
}

/** "pixel: vsyncs of /a, frames of /b, 2026-11-22 00:51:07 UTC, 10.0 s" */
std::string title(const Watched& watched) {
  std::string text = watched.device + ": ";
  if (watched.vsync) {
    text += "vsyncs of " + watched.vsync->node + ", ";
  }
  if (watched.frames) {
    text += "frames of " + watched.frames->node + ", ";
  }
  return text + utcText(watched.begun) + ", " + fixed(watchedSeconds(watched), 1) + " s";
}

}  // namespace

std::string deviceName() {
  std::string model;
  if (std::getline(std::ifstream("/proc/device-tree/model"), model, '\0') && !model.empty()) {
    return model;
  }
  utsname name = {};
  uname(&name);
  return name.nodename;
}

Json favouriteRows(const std::vector<FavouriteTables::Slot>& slots) {
  Json rows = Json::array();
  for (const auto& [slot, apps] : slots) {
    rows.push_back({{"slot", slot}, {"apps", apps}});
  }
  return rows;
}

void addFigures(Watched& watched) {
  StatsProvider stats = probeQuietly();
  watched.memory = memoryFigures(stats.getMemInfo());
  if (stats.supportsSysStats) {
    watched.statistics = systemSlots(stats.getSysStats());
  } else {
    watched.leaveOut("statistics", "this kernel does not have the netlink family SYSSTATS");
  }
  if (watched.favourites.is_null() && FetchPreferredApps().getWeekTimePreferredApps().empty()) {
    watched.leaveOut("favourites", "the framework has no text of them");
  } else if (watched.favourites.is_null()) {
    watched.favourites = favouriteRows(computeFavourites({}).slots);
  }
}

Json makeRecord(const Watched& watched) {
  return {
      {"title", title(watched)},
      {"device", watched.device},
      {"system", systemName()},
      {"begun", utcText(watched.begun)},
      {"seconds", watchedSeconds(watched)},
      {"vsync", watched.vsync ? vsyncRecord(*watched.vsync) : Json()},
      {"frames", watched.frames ? framesRecord(*watched.frames) : Json()},
      {"memory", watched.memory},
      {"favourites", watched.favourites},
      {"statistics", watched.statistics},
      {"left_out", watched.leftOut},
  };
}
