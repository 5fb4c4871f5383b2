#include "Sparkline.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>

namespace {

constexpr std::array kBlocks = {"▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
constexpr std::array kAscii = {"_", ".", ",", "-", "~", "=", "*", "#"};

}  // namespace

std::vector<std::string> sparkline(const std::vector<double>& values, Scale scale, bool unicode) {
  const auto& bars = unicode ? kBlocks : kAscii;
  const double span = scale.high - scale.low;
  const auto bar = [&](double value) {
    const double part = span > 0 ? std::clamp((value - scale.low) / span, 0.0, 1.0) : 0;
    return bars[static_cast<std::size_t>(std::lround(part * static_cast<double>(bars.size() - 1)))];
  };
  std::vector<std::string> result(values.size());
  std::transform(values.begin(), values.end(), result.begin(), bar);
  return result;
}

std::string joined(const std::vector<std::string>& bars) {
  return std::accumulate(bars.begin(), bars.end(), std::string());
}
