#include "watch/Trace.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <ostream>

namespace {

/** Times that make no sense, which a node may hold, must not make the sums overflow. */
long long toWholeUs(double ms) {
  constexpr double kHourMs = 3600e3;
  return std::llround(std::clamp(ms, 0.0, kHourMs) * 1000);
}

/** A stage of a frame; in us since the beginning of the trace. */
struct Slice {
  bool isFirstToSecond;
  std::size_t frame;  ///< from 1 on
  double ms;
  long long beginUs;
  long long endUs;
};

/** How many of durations, from the one at first on, have an arrival. */
std::size_t countOf(const Durations& durations, std::size_t first, Clock::time_point arrival) {
  const auto begin = durations.arrivals.begin() + static_cast<std::ptrdiff_t>(first);
  const auto end = std::find_if(begin, durations.arrivals.end(),
                                [&](Clock::time_point other) { return other != arrival; });
  return static_cast<std::size_t>(end - begin);
}

/**
 * The stages that arrived together, the latest first, from those at first and second on. Of frames
 * with only one of them here, those that lack the first stages are the first, as they began in
 * earlier samples, and those that lack the last ones are the last.
 */
std::vector<Slice> slicesOfSample(const Recording& frames, std::size_t first, std::size_t second,
                                  Clock::time_point arrival, long long arrivalUs) {
  const std::size_t firsts = countOf(frames.firstToSecond, first, arrival);
  const std::size_t seconds = countOf(frames.secondToThird, second, arrival);
  const std::size_t earlier = seconds - std::min(firsts, seconds);
  std::vector<Slice> slices;
  long long firstEnd = arrivalUs;
  long long secondEnd = arrivalUs;
  for (std::size_t row = std::max(firsts, seconds); row-- > 0;) {
    const std::size_t number = std::max(first + row + 1, earlier + 1) - earlier;
    if (row < seconds) {
      const double ms = frames.secondToThird.values[second + row];
      secondEnd = row < earlier ? secondEnd : std::min(secondEnd, firstEnd + toWholeUs(ms));
      slices.push_back({false, number, ms, secondEnd - toWholeUs(ms), secondEnd});
      secondEnd -= toWholeUs(ms);
      firstEnd = std::min(firstEnd, secondEnd);
    }
    if (row >= earlier) {
      const double ms = frames.firstToSecond.values[first + row - earlier];
      slices.push_back({true, number, ms, firstEnd - toWholeUs(ms), firstEnd});
      firstEnd -= toWholeUs(ms);
    }
  }
  return slices;
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
  Track firstToSecond = addTrack("stage 1-2");
  Track secondToThird = addTrack("stage 2-3");
  std::size_t first = 0;
  std::size_t second = 0;
  for (const Clock::time_point arrival : frames.arrivals) {
    const std::vector<Slice> slices =
        slicesOfSample(frames, first, second, arrival, sinceBeginUs(arrival));
    for (std::size_t i = slices.size(); i-- > 0;) {
      const Slice& slice = slices[i];
      addSlice(slice.isFirstToSecond ? firstToSecond : secondToThird, slice.frame, slice.beginUs,
               slice.endUs, slice.ms);
      ++(slice.isFirstToSecond ? first : second);
    }
  }
  addIntervals(frames.intervals);
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
  return {mTracks, 0};
}

void TraceWriter::addSlice(Track& track, std::size_t frame, long long beginUs, long long endUs,
                           double ms) {
  const long long end = std::max(endUs, track.endUs);
  const long long begin = std::clamp(beginUs, track.endUs, end);
  add("frame " + std::to_string(frame), "X", track.number,
      {{"ts", begin}, {"dur", end - begin}, {"args", {{"ms", ms}}}});
  track.endUs = end;
}

void TraceWriter::addIntervals(const Durations& intervals) {
  std::vector<long long> ends(intervals.values.size());
  for (std::size_t i = ends.size(); i-- > 0;) {
    const bool isFollowed =
        i + 1 < ends.size() && intervals.arrivals[i] == intervals.arrivals[i + 1];
    ends[i] = isFollowed ? ends[i + 1] - toWholeUs(intervals.values[i + 1])
                         : sinceBeginUs(intervals.arrivals[i]);
  }
  long long last = 0;
  for (std::size_t i = 0; i < ends.size(); ++i) {
    last = std::max(last, ends[i]);
    add("frame interval", "C", 0, {{"ts", last}, {"args", {{"ms", intervals.values[i]}}}});
  }
}

void TraceWriter::add(const std::string& name, const char* phase, int track, const Event& members) {
  Event event = {{"name", name}, {"ph", phase}, {"pid", 1}, {"tid", track}};
  event.update(members);
  mFile.stream() << (mEmpty ? "\n" : ",\n") << event.dump();
  mEmpty = false;
}
