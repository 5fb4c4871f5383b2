#include "watch/Trace.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <numeric>
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
  const auto& [values, arrivals] = durations;
  const auto [first, last] = std::equal_range(arrivals.begin(), arrivals.end(), arrival);
  return std::span(values).subspan(static_cast<std::size_t>(first - arrivals.begin()),
                                   static_cast<std::size_t>(last - first));
}

long long sumUs(std::span<const double> durations) {
  const auto add = [](long long us, double ms) { return us + toWholeUs(ms); };
  return std::accumulate(durations.begin(), durations.end(), 0LL, add);
}

}  // namespace

TraceWriter::TraceWriter(const std::string& path, Clock::time_point begin,
                         std::ostream& standardOutput)
    : mFile(path, standardOutput), mBegin(begin) {
  mFile.stream() << R"({"displayTimeUnit":"ms","traceEvents":[)";
  addEvent("process_name", "M", 0, {{"args", {{"name", "lmctl"}}}});
}

void TraceWriter::addInstants(const std::string& name,
                              const std::vector<Clock::time_point>& times) {
  const int track = addTrack(name).number;
  for (const Clock::time_point time : times) {
    addEvent(name, "i", track, {{"ts", sinceBeginUs(time)}, {"s", "t"}});
  }
}

void TraceWriter::add(const Recording& recording) {
  if (recording.kind.isFrames()) {
    addFrames(recording);
  } else {
    addInstants("vsync", recording.arrivals);
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
    long long us = sinceBeginUs(arrival) - sumUs(firsts) - sumUs(seconds);
    for (std::size_t row = 0; row < begunBefore + firsts.size(); ++row) {
      ++count;
      if (row >= begunBefore) {
        addStage(firstTrack, count, firsts[row - begunBefore], us);
      }
      if (row < seconds.size()) {
        addStage(secondTrack, count, seconds[row], us);
      }
    }

    const auto intervals = ofSample(frames.intervals, arrival);
    us = sinceBeginUs(arrival) - sumUs(intervals);
    for (const double interval : intervals) {
      us += toWholeUs(interval);
      addEvent("frame interval", "C", 0, {{"ts", std::max(us, 0LL)}, {"args", {{"ms", interval}}}});
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
  addEvent("thread_name", "M", ++mTracks, {{"args", {{"name", name}}}});
  return {mTracks};
}

void TraceWriter::addStage(Track& track, std::size_t frame, double ms, long long& beginUs) {
  const long long begin = std::max(beginUs, track.freeUs);
  beginUs += toWholeUs(ms);
  track.freeUs = std::max(beginUs, track.freeUs);
  addEvent("frame " + std::to_string(frame), "X", track.number,
           {{"ts", begin}, {"dur", track.freeUs - begin}, {"args", {{"ms", ms}}}});
}

void TraceWriter::addEvent(const std::string& name, const char* phase, int track,
                           const Event& members) {
  Event event = {{"name", name}, {"ph", phase}, {"pid", 1}, {"tid", track}};
  event.update(members);
  mFile.stream() << (mEmpty ? "\n" : ",\n") << event.dump();
  mEmpty = false;
}
