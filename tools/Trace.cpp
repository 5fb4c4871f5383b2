#include "Trace.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr int kProcess = 1;
constexpr double kNsPerUs = 1000;
constexpr double kNsPerMs = 1e6;

using Event = nlohmann::ordered_json;

/** An event of the kind, or phase, that the format's letter stands for. */
Event makeEvent(const std::string& name, const char* phase, int track) {
  return {{"name", name}, {"ph", phase}, {"pid", kProcess}, {"tid", track}};
}

Event makeEvent(const std::string& name, const char* phase, int track, long long ns) {
  Event event = makeEvent(name, phase, track);
  event["ts"] = static_cast<double>(ns) / kNsPerUs;
  return event;
}

/** Times that make no sense, which a node may hold, must not make the sums overflow. */
long long toNs(double ms) {
  constexpr double kHourMs = 3600e3;
  return std::llround(std::clamp(ms, 0.0, kHourMs) * kNsPerMs);
}

}  // namespace

TraceWriter::TraceWriter(const std::string& path, std::ostream& standardOutput,
                         Clock::time_point begin)
    : mFile(path, standardOutput), mBegin(begin) {
  mFile.stream() << R"({"displayTimeUnit":"ms","traceEvents":[)";
  Event process = makeEvent("process_name", "M", 0);
  process["args"] = {{"name", "lmctl"}};
  add(process);
}

void TraceWriter::addInstants(const std::string& name,
                              const std::vector<Clock::time_point>& times) {
  const int track = addTrack(name);
  for (const Clock::time_point time : times) {
    Event event = makeEvent(name, "i", track, sinceBegin(time));
    event["s"] = "t";
    add(event);
  }
}

void TraceWriter::addSlices(const std::string& name, const Durations& durations) {
  struct Lane {
    int track;
    long long end;
  };
  std::vector<Lane> lanes = {{addTrack(name), 0}};
  const std::vector<long long> starts = begins(durations);
  for (std::size_t i = 0; i < starts.size(); ++i) {
    const long long earliest = std::max(starts[i], 0LL);
    auto lane = std::find_if(lanes.begin(), lanes.end(),
                             [&](const Lane& candidate) { return candidate.end <= earliest; });
    if (lane == lanes.end() && lanes.size() < kLanes) {
      lane = lanes.insert(lane, {addTrack(name), 0});
    } else if (lane == lanes.end()) {
      lane = std::min_element(lanes.begin(), lanes.end(),
                              [](const Lane& a, const Lane& b) { return a.end < b.end; });
    }
    const long long start = std::max(earliest, lane->end);
    const long long length = toNs(durations.ms[i]);
    Event event = makeEvent(name, "X", lane->track, start);
    event["dur"] = static_cast<double>(length) / kNsPerUs;
    add(event);
    lane->end = start + length;
  }
}

void TraceWriter::addCounter(const std::string& name, const Durations& durations) {
  const std::vector<long long> starts = begins(durations);
  long long last = 0;
  for (std::size_t i = 0; i < starts.size(); ++i) {
    last = std::max(last, starts[i] + toNs(durations.ms[i]));
    Event event = makeEvent(name, "C", 0, last);
    event["args"] = {{"ms", durations.ms[i]}};
    add(event);
  }
}

void TraceWriter::addFrames(const FrameTimes& times) {
  addSlices("stage 1-2", times.firstToSecond);
  addSlices("stage 2-3", times.secondToThird);
  addCounter("frame interval", times.intervals);
}

void TraceWriter::finish() {
  mFile.stream() << "\n]}\n";
  mFile.finish();
}

std::vector<long long> TraceWriter::begins(const Durations& durations) const {
  std::vector<long long> starts(durations.ms.size());
  for (std::size_t i = starts.size(); i-- > 0;) {
    const bool followed =
        i + 1 < starts.size() && durations.arrivals[i] == durations.arrivals[i + 1];
    const long long end = followed ? starts[i + 1] : sinceBegin(durations.arrivals[i]);
    starts[i] = end - toNs(durations.ms[i]);
  }
  return starts;
}

long long TraceWriter::sinceBegin(Clock::time_point time) const {
  return std::chrono::nanoseconds(time - mBegin).count();
}

int TraceWriter::addTrack(const std::string& name) {
  Event event = makeEvent("thread_name", "M", ++mTracks);
  event["args"] = {{"name", name}};
  add(event);
  return mTracks;
}

void TraceWriter::add(const Event& event) {
  mFile.stream() << (mEmpty ? "\n" : ",\n") << event.dump();
  mEmpty = false;
}
