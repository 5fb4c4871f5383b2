#include "Distribution.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iomanip>
#include <ostream>
#include <sstream>

namespace {

constexpr int kBins = 7;
constexpr std::size_t kBarWidth = 40;

}  // namespace

Distribution::Distribution(std::vector<double> values, Unit unit)
    : mSorted(std::move(values)), mUnit(unit) {
  std::sort(mSorted.begin(), mSorted.end());
}

double Distribution::percentile(double fraction) const {
  if (mSorted.empty()) {
    return 0;
  }
  const double rank = std::ceil(fraction * static_cast<double>(mSorted.size()));
  return mSorted[static_cast<std::size_t>(std::max(rank, 1.0)) - 1];
}

std::string Distribution::summary() const {
  std::ostringstream line;
  line << std::fixed << std::setprecision(mUnit.digits) << "median " << median() << " "
       << mUnit.name << "   p99 " << percentile(0.99) << " " << mUnit.name << "   largest "
       << largest() << " " << mUnit.name;
  return line.str();
}

void Distribution::printSummary(std::ostream& out) const { out << summary() << "\n"; }

void Distribution::printHistogram(std::ostream& out) const {
  if (empty()) {
    return;
  }
  const double low = percentile(0.05);
  const double width = std::max((percentile(0.95) - low) / kBins, std::pow(10, -mUnit.digits));
  std::array<std::size_t, kBins + 2> counts{};  // the first and last are outside
  for (const double value : mSorted) {
    const double bin = std::floor((value - low) / width) + 1;
    ++counts[static_cast<std::size_t>(std::clamp(bin, 0.0, kBins + 1.0))];
  }
  const std::size_t highest = *std::max_element(counts.begin(), counts.end());
  std::ostringstream lines;
  lines << std::fixed << std::setprecision(mUnit.digits);
  for (int i = 0; i < kBins + 2; ++i) {
    lines << (i == 0 ? "  below " : "   from ") << std::setw(9) << low + std::max(i - 1, 0) * width
          << " " << mUnit.name << " " << std::setw(7) << counts[i] << "  "
          << std::string((counts[i] * kBarWidth + highest - 1) / highest, '#') << "\n";
  }
  out << lines.str();
}

nlohmann::ordered_json Distribution::toJson() const {
  return {{"median", median()}, {"p99", percentile(0.99)}, {"max", largest()}};
}

Distribution latencies(const std::vector<Clock::time_point>& notified,
                       const std::vector<Clock::time_point>& arrivals) {
  std::vector<double> valuesUs;
  for (const Clock::time_point arrival : arrivals) {
    const auto next = std::upper_bound(notified.begin(), notified.end(), arrival);
    if (next != notified.begin()) {
      valuesUs.push_back(toUs(arrival - *std::prev(next)));
    }
  }
  return {std::move(valuesUs), kMicroseconds};
}
