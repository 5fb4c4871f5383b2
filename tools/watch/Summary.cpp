#include "watch/Summary.h"

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <nlohmann/json.hpp>
#include <ostream>
#include <sstream>

using Json = nlohmann::ordered_json;

namespace {

std::string rateText(const std::optional<double>& hz) {
  return hz ? "   " + fixed(*hz, 1) + " Hz" : "";
}

/** How far the intervals are off their median, without the sign. */
Distribution jitter(const Recording& vsyncs) {
  std::vector<double> off = vsyncs.intervals.values;
  const double median = Distribution(off, vsyncs.unit).median();
  std::transform(off.begin(), off.end(), off.begin(),
                 [median](double value) { return std::abs(value - median); });
  return {std::move(off), vsyncs.unit};
}

Distribution distribution(const Durations& durations, Unit unit) {
  return {durations.values, unit};
}

std::string summary(const Distribution& distribution) {
  return distribution.empty() ? "none" : distribution.summary();
}

Json figures(const Distribution& values) {
  if (values.empty()) {
    return nullptr;
  }
  return {{"median", values.median()}, {"p99", values.percentile(0.99)}, {"max", values.largest()}};
}

}  // namespace

std::string fixed(double value, int digits) {
  std::ostringstream text;
  text << std::fixed << std::setprecision(digits) << value;
  return text.str();
}

Lateness::Lateness(const std::vector<double>& intervals)
    : period(Distribution(intervals, kMilliseconds).median()), from(kPeriods * period) {
  for (const double interval : intervals) {
    if (interval > from) {
      ++events;
      missedRefreshes += static_cast<std::size_t>(std::lround(interval / period)) - 1;
    }
  }
}

std::string countText(const EventRecorder::Latest& latest, const std::string& noun) {
  if (latest.count == 0) {
    return "no " + noun + " yet";
  }
  return std::to_string(latest.count) + " " + noun + (latest.count == 1 ? "" : "s") +
         rateText(latest.rateHz);
}

void printVsyncs(const Recording& vsyncs, std::ostream& out) {
  out << "vsync      " << vsyncs.events << (vsyncs.events == 1 ? " event" : " events")
      << rateText(vsyncs.rateHz()) << "\n";
  if (!vsyncs.intervals.values.empty()) {
    out << "jitter     " << summary(jitter(vsyncs)) << "\n";
  }
  out << "interval   " << summary(distribution(vsyncs.intervals, vsyncs.unit)) << "\n";
}

void printFrames(const Recording& frames, std::ostream& out) {
  if (frames.events == 0) {
    out << "frames     none in " << frames.arrivals.size() << " reads\n";
    return;
  }
  const Lateness late(frames.intervals.values);
  out << "frames     " << frames.events << " started   " << frames.secondToThird.values.size()
      << " finished" << rateText(frames.rateHz()) << "\n";
  if (!frames.intervals.values.empty()) {
    out << "late       " << late.events << " frames   " << late.missedRefreshes
        << " refreshes missed   period " << fixed(late.period, frames.unit.digits) << " "
        << frames.unit.name << "\n";
  }
  out << "stage 1-2  " << summary(distribution(frames.firstToSecond, frames.unit))
      << "\nstage 2-3  " << summary(distribution(frames.secondToThird, frames.unit))
      << "\ninterval   " << summary(distribution(frames.intervals, frames.unit)) << "\n";
}

Json vsyncFigures(const Recording& vsyncs) {
  const std::optional<double> rateHz = vsyncs.rateHz();
  return {{"events", vsyncs.events},
          {"rate_hz", rateHz ? Json(*rateHz) : Json()},
          {"interval_us", figures(distribution(vsyncs.intervals, vsyncs.unit))},
          {"jitter_us", figures(jitter(vsyncs))}};
}

Json frameFigures(const Recording& frames) {
  const std::optional<double> rateHz = frames.rateHz();
  const Lateness late(frames.intervals.values);
  const auto known = [&](const auto& value) {
    return frames.intervals.values.empty() ? Json() : Json(value);
  };
  return {{"reads", frames.arrivals.size()},
          {"frames", frames.events},
          {"finished", frames.secondToThird.values.size()},
          {"rate_hz", rateHz ? Json(*rateHz) : Json()},
          {"period_ms", known(late.period)},
          {"late_from_ms", known(late.from)},
          {"late", known(late.events)},
          {"missed_refreshes", known(late.missedRefreshes)},
          {"interval_ms", figures(distribution(frames.intervals, frames.unit))},
          {"stage_1_to_2_ms", figures(distribution(frames.firstToSecond, frames.unit))},
          {"stage_2_to_3_ms", figures(distribution(frames.secondToThird, frames.unit))}};
}
