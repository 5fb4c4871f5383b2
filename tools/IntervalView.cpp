#include "IntervalView.h"

#include <algorithm>
#include <iomanip>
#include <numeric>
#include <sstream>

#include "FrameTimes.h"
#include "LiveBlock.h"
#include "Sparkline.h"

namespace {

constexpr std::size_t kLabelWidth = 11;

std::string label(const std::string& text) {
  return text + std::string(kLabelWidth - std::min(text.size(), kLabelWidth - 1), ' ');
}

}  // namespace

std::vector<std::string> intervalLines(const WatchedIntervals& watched, const Screen& screen) {
  const std::vector<double>& recent = watched.recent;
  const Distribution distribution(recent, watched.unit);
  const double median = distribution.median();
  const double sum = std::accumulate(recent.begin(), recent.end(), 0.0);
  const double rateNowHz =
      sum > 0 ? watched.unit.perSecond * static_cast<double>(recent.size()) / sum : 0;
  const auto isLate = [&](double interval) { return interval > Lateness::kPeriods * median; };

  std::ostringstream head;
  head << label(watched.source) << watched.count << " " << watched.events << std::fixed
       << std::setprecision(1) << "   " << rateNowHz << " Hz now   " << watched.rateHz
       << " Hz in all";
  std::ostringstream percentiles;
  percentiles << label("last " + std::to_string(recent.size()))
              << std::count_if(recent.begin(), recent.end(), isLate) << " late   "
              << distribution.summary();

  const std::size_t room = screen.width() - std::min(kLabelWidth, screen.width());
  const auto count = static_cast<std::ptrdiff_t>(std::min(room, recent.size()));
  const std::vector<double> shown(recent.end() - count, recent.end());
  // The median is right at the fifth of eight heights: steady events do not flicker between two.
  std::vector<std::string> bars = sparkline(shown, {0, 1.75 * median}, screen.unicode);
  std::string marks;
  for (std::size_t i = 0; i < shown.size(); ++i) {
    bars[i] = isLate(shown[i]) ? screen.style.warning(bars[i]) : bars[i];
    marks += isLate(shown[i]) ? "^" : " ";
  }
  return {screen.style.bold(fitted(head.str(), screen.width())),
          fitted(label("interval"), screen.width()) + joined(bars),
          fitted(label(""), screen.width()) + screen.style.warning(marks),
          fitted(percentiles.str(), screen.width())};
}
