#include "watch/Trace.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <nlohmann/json.hpp>
#include <numeric>
#include <ostream>
#include <span>
#include <string>

using Event = nlohmann::ordered_json;

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

class TraceWriter {
 public:
  TraceWriter(Clock::time_point begin, std::ostream& out) : mBegin(begin), mOut(out) {
    mOut << R"({"displayTimeUnit":"ms","traceEvents":[
{"name":"process_name","ph":"M","pid":1,"args":{"name":"lmctl"}})";
  }

  /** Adds a track of points in time. */
  void addInstants(const std::string& name, const std::vector<Clock::time_point>& times) {
    const int track = addTrack(name);
    for (const Clock::time_point time : times) {
      addEvent(name, "i", track, {{"ts", sinceBeginUs(time)}, {"s", "t"}});
    }
  }

  void addFrames(const Recording& frames) {
    const int firstTrack = addTrack("stage 1-2");
    const int secondTrack = addTrack("stage 2-3");
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
          us = addStage(firstTrack, count, firsts[row - begunBefore], us);
        }
        if (row < seconds.size()) {
          us = addStage(secondTrack, count, seconds[row], us);
        }
      }
      addIntervals(ofSample(frames.intervals, arrival), sinceBeginUs(arrival));
    }
  }

  void finish() { mOut << "\n]}\n"; }

 private:
  long long sinceBeginUs(Clock::time_point time) const { return std::llround(toUs(time - mBegin)); }

  int addTrack(const std::string& name) {
    addEvent("thread_name", "M", ++mTracks, {{"args", {{"name", name}}}});
    return mTracks;
  }

  /** Adds a frame's stage that begins at beginUs; returns its end. */
  long long addStage(int track, std::size_t frame, double ms, long long beginUs) {
    long long& freeUs = mFreeUs[track];
    const long long end = beginUs + toWholeUs(ms);
    const long long begin = std::max(beginUs, freeUs);
    freeUs = std::max(end, freeUs);
    addEvent("frame " + std::to_string(frame), "X", track,
             {{"ts", begin}, {"dur", freeUs - begin}, {"args", {{"ms", ms}}}});
    return end;
  }

  void addIntervals(std::span<const double> intervals, long long endUs) {
    long long us = endUs - sumUs(intervals);
    for (const double ms : intervals) {
      us += toWholeUs(ms);
      addEvent("frame interval", "C", 0, {{"ts", std::max(us, 0LL)}, {"args", {{"ms", ms}}}});
    }
  }

  /** Adds an event of a phase, with what else it has. */
  void addEvent(const std::string& name, const char* phase, int track, const Event& members) {
    Event event = {{"name", name}, {"ph", phase}, {"pid", 1}, {"tid", track}};
    event.update(members);
    mOut << ",\n" << event.dump();
  }

  const Clock::time_point mBegin;
  std::ostream& mOut;
  int mTracks = 0;
  std::map<int, long long> mFreeUs{};  ///< where the stages so far of each track end
};

}  // namespace

void writeTrace(const std::vector<Recording>& recordings, std::ostream& out) {
  TraceWriter trace(recordings.empty() ? Clock::now() : recordings.front().begin, out);
  for (const Recording& recording : recordings) {
    if (recording.kind.isFrames()) {
      trace.addFrames(recording);
      continue;
    }
    trace.addInstants("vsync", recording.arrivals);
    if (!recording.made.empty()) {
      trace.addInstants("vsync raised", recording.made);
    }
  }
  trace.finish();
}
