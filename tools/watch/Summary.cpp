#include "watch/Summary.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iomanip>
#include <nlohmann/json.hpp>
#include <ostream>
#include <sstream>

using Json = nlohmann::ordered_json;

namespace {

/** How far the intervals are off their median, without the sign. */
std::vector<double> jitter(const Recording& vsyncs) {
  std::vector<double> off = vsyncs.intervals.values;
  const double median = Distribution(off, vsyncs.unit).median();
  std::transform(off.begin(), off.end(), off.begin(),
                 [median](double value) { return std::abs(value - median); });
  return off;
}

std::string rateText(const std::optional<double>& hz) {
  return hz ? "   " + fixed(*hz, 1) + " Hz" : "";
}

std::string summaryText(const std::vector<double>& values, Unit unit) {
  return values.empty() ? "none" : Distribution(values, unit).summary();
}

Json rateFigure(const Recording& recording) {
  const std::optional<double> hz = recording.rateHz();
  return hz ? Json(*hz) : Json();
}

Json figures(const std::vector<double>& values) {
  if (values.empty()) {
    return nullptr;
  }
  const Distribution of(values, kMilliseconds);
  return {{"median", of.median()}, {"p99", of.percentile(0.99)}, {"max", of.largest()}};
}

constexpr std::size_t kLabelWidth = 11;
constexpr std::array kBars = {"▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};

std::string label(std::string text) {
  text.resize(kLabelWidth, ' ');
  return text;
}

/** The bar of a part, from 0 to 1 or more, of the highest. */
const char* bar(double part) {
  constexpr double kHighest = kBars.size() - 1;
  return kBars[static_cast<std::size_t>(std::lround(std::clamp(part, 0.0, 1.0) * kHighest))];
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

std::vector<std::string> liveLines(const LiveView& view, const Style& style, std::size_t width) {
  const std::vector<double>& recent = view.latest.intervals;
  const std::string head = label(view.source) + countText(view.latest, view.noun);
  if (recent.empty()) {
    return {style.bold(head)};
  }
  const Lateness late(recent);
  std::string bars = label("interval");
  const std::size_t count = std::min(width - std::min(kLabelWidth, width), recent.size());
  for (std::size_t i = recent.size() - count; i < recent.size(); ++i) {
    // The median is right at the fifth of eight heights: steady events do not flicker between two.
    const char* const height = bar(recent[i] / (1.75 * late.period));
    bars += recent[i] > late.from ? style.warning(height) : height;
  }
  const std::string percentiles = label("last " + std::to_string(recent.size())) +
                                  std::to_string(late.events) + " late   " +
                                  Distribution(recent, view.unit).summary();
  return {style.bold(head), bars, percentiles};
}

void printVsyncs(const Recording& vsyncs, std::ostream& out) {
  const std::vector<double>& intervals = vsyncs.intervals.values;
  out << "vsync      " << vsyncs.events << (vsyncs.events == 1 ? " event" : " events")
      << rateText(vsyncs.rateHz()) << "\njitter     " << summaryText(jitter(vsyncs), vsyncs.unit)
      << "\ninterval   " << summaryText(intervals, vsyncs.unit) << "\n";
}

void printFrames(const Recording& frames, std::ostream& out) {
  const std::vector<double>& intervals = frames.intervals.values;
  if (frames.events == 0) {
    out << "frames     none in " << frames.arrivals.size() << " reads\n";
    return;
  }
  out << "frames     " << frames.events << " started   " << frames.secondToThird.values.size()
      << " finished" << rateText(frames.rateHz()) << "\n";
  if (const Lateness late(intervals); !intervals.empty()) {
    out << "late       " << late.events << " frames   " << late.missedRefreshes
        << " refreshes missed   period " << fixed(late.period, 2) << " ms\n";
  }
  out << "stage 1-2  " << summaryText(frames.firstToSecond.values, frames.unit) << "\nstage 2-3  "
      << summaryText(frames.secondToThird.values, frames.unit) << "\ninterval   "
      << summaryText(intervals, frames.unit) << "\n";
}

Json vsyncFigures(const Recording& vsyncs) {
  return {{"events", vsyncs.events},
          {"rate_hz", rateFigure(vsyncs)},
          {"interval_us", figures(vsyncs.intervals.values)},
          {"jitter_us", figures(jitter(vsyncs))}};
}

Json frameFigures(const Recording& frames) {
  const Lateness late(frames.intervals.values);
  const auto known = [&](const auto& value) {
    return frames.intervals.values.empty() ? Json() : Json(value);
  };
  return {{"reads", frames.arrivals.size()},
          {"frames", frames.events},
          {"finished", frames.secondToThird.values.size()},
          {"rate_hz", rateFigure(frames)},
          {"period_ms", known(late.period)},
          {"late_from_ms", known(late.from)},
          {"late", known(late.events)},
          {"missed_refreshes", known(late.missedRefreshes)},
          {"interval_ms", figures(frames.intervals.values)},
          {"stage_1_to_2_ms", figures(frames.firstToSecond.values)},
          {"stage_2_to_3_ms", figures(frames.secondToThird.values)}};
}
