#include "DistributionOutput.h"

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

void printSummary(const Distribution& values, std::ostream& out) {
  out << values.summary() << "\n";
}

void printHistogram(const Distribution& values, std::ostream& out) {
  if (values.empty()) {
    return;
  }
  const Unit& unit = values.unit();
  const double low = values.percentile(0.05);
  const double width =
      std::max((values.percentile(0.95) - low) / kBins, std::pow(10, -unit.digits));
  std::array<std::size_t, kBins + 2> counts{};  // the first and last are outside
  for (const double value : values.sorted()) {
    const double bin = std::floor((value - low) / width) + 1;
    ++counts[static_cast<std::size_t>(std::clamp(bin, 0.0, kBins + 1.0))];
  }
  const std::size_t highest = *std::max_element(counts.begin(), counts.end());
  std::ostringstream lines;
  lines << std::fixed << std::setprecision(unit.digits);
  for (int i = 0; i < kBins + 2; ++i) {
    lines << (i == 0 ? "  below " : "   from ") << std::setw(9) << low + std::max(i - 1, 0) * width
          << " " << unit.name << " " << std::setw(7) << counts[i] << "  "
          << std::string((counts[i] * kBarWidth + highest - 1) / highest, '#') << "\n";
  }
  out << lines.str();
}

nlohmann::ordered_json toJson(const Distribution& values) {
  return {{"median", values.median()}, {"p99", values.percentile(0.99)}, {"max", values.largest()}};
}
