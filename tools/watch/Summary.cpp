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

constexpr std::size_t kLabelWidth = 11;
constexpr std::array kBars = {"▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};

/** Events that came late for the display's refresh, whose period is the median of the intervals. */
struct Lateness {
  explicit Lateness(const std::vector<double>& intervals)
      : period(Distribution(intervals, kMilliseconds).median()), from(1.5 * period) {
    for (const double interval : intervals) {
      if (interval > from) {
        ++events;
        missedRefreshes += std::lround(interval / period) - 1;
      }
    }
  }

  const double period;  ///< 0 without an interval
  const double from;    ///< later than this is late
  std::size_t events = 0;
  long missedRefreshes = 0;
};

std::string label(std::string text) {
  text.resize(kLabelWidth, ' ');
  return text;
}

/** "118 events" */
std::string countText(std::size_t count, const std::string& noun) {
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string rateText(const Recording& recording) {
  const double hz = recording.rateHz();
  return hz > 0 ? "   " + fixed(hz, 1) + " Hz" : "";
}

/** The bar of a part, from 0 to 1 or more, of the highest. */
const char* bar(double part) {
  constexpr double kHighest = kBars.size() - 1;
  return kBars[static_cast<std::size_t>(std::lround(std::clamp(part, 0.0, 1.0) * kHighest))];
}

/** How far the intervals are off their median, without the sign. */
std::vector<double> jitter(std::vector<double> intervals) {
  const double median = Distribution(intervals, kMicroseconds).median();
  for (double& interval : intervals) {
    interval = std::abs(interval - median);
  }
  return intervals;
}

Json distributionFigure(const std::vector<double>& values) {
  if (values.empty()) {
    return nullptr;
  }
  const Distribution of(values, kMilliseconds);
  return {{"median", of.median()}, {"p99", of.percentile(0.99)}, {"max", of.largest()}};
}

}  // namespace

std::string fixed(double value, int digits) {
  std::ostringstream text;
  text << std::fixed << std::setprecision(digits) << value;
  return text.str();
}

std::vector<std::string> liveLines(const Recording& recording, std::size_t most, const Style& style,
                                   std::size_t width) {
  const auto& [name, part, noun, item, unit] = recording.kind;
  const std::vector<double>& all = recording.intervals.values;
  const auto tail = static_cast<std::ptrdiff_t>(std::min(most, all.size()));
  const std::vector<double> recent(all.end() - tail, all.end());
  const std::string count = recording.events == 0 ? "no " + std::string(noun) + " yet"
                                                  : countText(recording.events, noun);
  const std::string head = style.bold(label(name) + count + rateText(recording));
  if (recent.empty()) {
    return {head};
  }
  const Lateness late(recent);
  std::string bars = label("interval");
  const auto shown =
      static_cast<std::ptrdiff_t>(std::min(width - std::min(kLabelWidth, width), recent.size()));
  for (auto interval = recent.end() - shown; interval != recent.end(); ++interval) {
    // The median is right at the fifth of eight heights: steady events do not flicker between two.
    const char* const height = bar(*interval / (1.75 * late.period));
    bars += *interval > late.from ? style.warning(height) : height;
  }
  return {head, bars,
          label("last " + std::to_string(recent.size())) + std::to_string(late.events) +
              " late   " + Distribution(recent, unit).summary()};
}

Json figuresOf(const Recording& recording) {
  const std::vector<double>& intervals = recording.intervals.values;
  const auto known = [&](const auto& value) { return intervals.empty() ? Json() : Json(value); };
  const Json rate = known(recording.rateHz());
  if (!recording.kind.isFrames()) {
    return {{"events", recording.events},
            {"rate_hz", rate},
            {"interval_us", distributionFigure(intervals)},
            {"jitter_us", distributionFigure(jitter(intervals))}};
  }
  const Lateness late(intervals);
  return {{"reads", recording.arrivals.size()},
          {"frames", recording.events},
          {"finished", recording.secondToThird.values.size()},
          {"rate_hz", rate},
          {"period_ms", known(late.period)},
          {"late_from_ms", known(late.from)},
          {"late", known(late.events)},
          {"missed_refreshes", known(late.missedRefreshes)},
          {"interval_ms", distributionFigure(intervals)},
          {"stage_1_to_2_ms", distributionFigure(recording.firstToSecond.values)},
          {"stage_2_to_3_ms", distributionFigure(recording.secondToThird.values)}};
}

void printSummary(const Recording& recording, std::ostream& out) {
  const std::vector<double>& intervals = recording.intervals.values;
  const auto print = [&](const char* name, const std::vector<double>& values) {
    const Distribution distribution(values, recording.kind.unit);
    out << label(name) << (values.empty() ? "none" : distribution.summary()) << "\n";
  };
  if (!recording.kind.isFrames()) {
    out << label("vsync") << countText(recording.events, "event") << rateText(recording) << "\n";
    print("jitter", jitter(intervals));
  } else if (recording.events == 0) {
    out << label("frames") << "none in " << recording.arrivals.size() << " reads\n";
    return;
  } else {
    out << label("frames") << recording.events << " started   "
        << recording.secondToThird.values.size() << " finished" << rateText(recording) << "\n";
    if (const Lateness late(intervals); !intervals.empty()) {
      out << label("late") << countText(late.events, "frame") << "   " << late.missedRefreshes
          << " refreshes missed   period " << fixed(late.period, 2) << " ms\n";
    }
    print("stage 1-2", recording.firstToSecond.values);
    print("stage 2-3", recording.secondToThird.values);
  }
  print("interval", intervals);
}
