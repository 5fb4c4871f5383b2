#include "report/ReportRecord.h"

#include <sys/utsname.h>

#include <cmath>
#include <ctime>

#include "FetchPreferredApps.h"
#include "Stats.h"
#include "StatsProvider.h"
#include "db/Favourites.h"

namespace {

double rounded(double value, Unit unit) {
  const double scale = std::pow(10, unit.digits);
  return std::round(value * scale) / scale;
}

Rows rounded(const std::vector<double>& values, Unit unit) {
  Rows list = Rows::array();
  for (const double value : values) {
    list.push_back(rounded(value, unit));
  }
  return list;
}

std::string utcTime() {
  const std::time_t now = std::time(nullptr);
  std::tm time = {};
  gmtime_r(&now, &time);
  char text[sizeof("2000-01-01 00:00:00 UTC")];
  std::strftime(text, sizeof(text), "%F %T UTC", &time);
  return text;
}

std::string systemName() {
  utsname name = {};
  uname(&name);
  return std::string(name.sysname) + " " + name.release + ", " + name.machine;
}

Rows vsyncRecord(const Watched::Vsyncs& vsync) {
  std::vector<double> arrivalsUs;
  for (const Clock::time_point arrival : vsync.times.arrivals) {
    arrivalsUs.push_back(toUs(arrival - vsync.begin));
  }
  Rows record = {{"node", vsync.path}, {"seconds", toSeconds(vsync.end - vsync.begin)}};
  record.update(vsync.times.toJson());
  record["arrivals_us"] = rounded(arrivalsUs, kMicroseconds);
  return record;
}

Rows framesRecord(const Watched::Frames& frames) {
  const FrameTimes& times = frames.times;
  Rows record = {{"node", frames.path}, {"seconds", toSeconds(frames.end - frames.begin)}};
  record.update(times.toJson());
  record["intervals_ms"] = rounded(times.intervals.ms, kMilliseconds);
  record["stages_1_to_2_ms"] = rounded(times.firstToSecond.ms, kMilliseconds);
  record["stages_2_to_3_ms"] = rounded(times.secondToThird.ms, kMilliseconds);
  return record;
}

}  // namespace

void addFigures(Watched& watched) {
  StatsProvider stats = probeQuietly();
  watched.memory = memoryFigures(stats.getMemInfo());
  if (stats.supportsSysStats) {
    watched.statistics = systemSlots(stats.getSysStats());
  } else {
    watched.leftOut.emplace_back("statistics",
                                 "this kernel does not have the netlink family SYSSTATS");
  }
}

void addConfiguredFavourites(Watched& watched) {
  if (FetchPreferredApps().getWeekTimePreferredApps().empty()) {
    watched.leftOut.emplace_back("favourites", "the framework has no text of them");
  } else {
    Rows rows = Rows::array();
    for (const auto& [slot, apps] : computeFavourites({}).slots) {
      rows.push_back({{"app", slot}, {"slot", apps}});
    }
    watched.favourites = rows;
  }
}

Rows makeRecord(const Watched& watched) {
  Rows leftOut = Rows::array();
  for (const auto& [part, reason] : watched.leftOut) {
    leftOut.push_back({{"part", part}, {"reason", reason}});
  }
  return {{"made", utcTime()},
          {"system", systemName()},
          {"left_out", leftOut},
          {"vsync", watched.vsync ? vsyncRecord(*watched.vsync) : Rows()},
          {"frames", watched.frames ? framesRecord(*watched.frames) : Rows()},
          {"memory", watched.memory.value_or(Rows())},
          {"statistics", watched.statistics.value_or(Rows())},
          {"favourites", watched.favourites.value_or(Rows())}};
}
