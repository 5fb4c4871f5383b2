#include "watch/Trace.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <ostream>
#include <span>

namespace {

/** Times that make no sense, which a node may hold, must not make the sums overflow. */
long long toWholeUs(double ms) {
  constexpr double kHourMs = 3600e3;
  return std::llround(std::clamp(ms, 0.0, kHourMs) * 1000);
}

/** Those of durations that arrived then. */
std::span<const double> ofSample(const Durations& durations, Clock::time_point arrival) {
  const auto& [values, arrivals, sum] = durations;
  const auto [first, last] = std::equal_range(arrivals.begin(), arrivals.end(), arrival);
  return std::span(values).subspan(static_cast<std::size_t>(first - arrivals.begin()),
                                   static_cast<std::size_t>(last - first));
}

}  // namespace

TraceWriter::TraceWriter(const std::string& path, Clock::time_point begin,
                         std::ostream& standardOutput)
    : mFile(path, standardOutput), mBegin(begin) {
  mFile.stream() << R"({"displayTimeUnit":"ms","traceEvents":[)";
  add("process_name", "M", 0, {{"args", {{"name", "lmctl"}}}});
}

void TraceWriter::addInstants(const std::string& name,
                              const std::vector<Clock::time_point>& times) {
  const int track = addTrack(name).number;
  for (const Clock::time_point time : times) {
    add(name, "i", track, {{"ts", sinceBeginUs(time)}, {"s", "t"}});
  }
}

void TraceWriter::addFrames(const Recording& frames) {
  Track firstTrack = addTrack("stage 1-2");
  Track secondTrack = addTrack("stage 2-3");
  std::size_t count = 0;
  for (const Clock::time_point arrival : frames.arrivals) {
    const auto firsts = ofSample(frames.firstToSecond, arrival);
    const auto seconds = ofSample(frames.secondToThird, arrival);
    // Frames that have only a second stage here began in earlier samples; those that have only a
    // first one are the last.
    const std::size_t begunBefore = seconds.size() - std::min(firsts.size(), seconds.size());
    count = std::max(count, begunBefore) - begunBefore;
    long long us = sinceBeginUs(arrival);
    for (std::size_t row = std::max(firsts.size(), seconds.size()); row-- > 0;) {
      if (row < seconds.size()) {
        us = addStage(secondTrack, count + row + 1, seconds[row], us);
      }
      if (row >= begunBefore) {
        us = addStage(firstTrack, count + row + 1, firsts[row - begunBefore], us);
      }
    }
    count += begunBefore + firsts.size();
    firstTrack.freeUs = firstTrack.nextFreeUs;
    secondTrack.freeUs = secondTrack.nextFreeUs;

    us = sinceBeginUs(arrival);
    const auto intervals = ofSample(frames.intervals, arrival);
    for (std::size_t i = intervals.size(); i-- > 0; us -= toWholeUs(intervals[i])) {
      add("frame interval", "C", 0, {{"ts", std::max(us, 0LL)}, {"args", {{"ms", intervals[i]}}}});
    }
  }
}

void TraceWriter::finish() {
  mFile.stream() << "\n]}\n";
  mFile.finish();
}

long long TraceWriter::sinceBeginUs(Clock::time_point time) const {
  return std::llround(toUs(time - mBegin));
}

TraceWriter::Track TraceWriter::addTrack(const std::string& name) {
  add("thread_name", "M", ++mTracks, {{"args", {{"name", name}}}});
  return {mTracks, 0, 0};
}

long long TraceWriter::addStage(Track& track, std::size_t frame, double ms, long long endUs) {
  const long long begin = endUs - toWholeUs(ms);
  const long long shownEnd = std::max(endUs, track.freeUs);
  const long long shownBegin = std::max(begin, track.freeUs);
  add("frame " + std::to_string(frame), "X", track.number,
      {{"ts", shownBegin}, {"dur", shownEnd - shownBegin}, {"args", {{"ms", ms}}}});
  track.nextFreeUs = std::max(track.nextFreeUs, shownEnd);
  return begin;
}

void TraceWriter::add(const std::string& name, const char* phase, int track, const Event& members) {
  Event event = {{"name", name}, {"ph", phase}, {"pid", 1}, {"tid", track}};
  event.update(members);
  mFile.stream() << (mEmpty ? "\n" : ",\n") << event.dump();
  mEmpty = false;
}
