#include "ThermalView.h"

#include <algorithm>
#include <iomanip>
#include <sstream>

#include "LiveBlock.h"
#include "Sparkline.h"

std::vector<std::string> ThermalView::lines(const Rows& zones, const Screen& screen) {
  if (const auto now = Clock::now(); now >= mNextBar) {
    add(zones);
    mNextBar = now + kBarPeriod;
  }
  const std::string head =
      "thermal    " + std::to_string(mZones.size()) + " zones   a bar each second";
  std::vector<std::string> result = {screen.style.bold(fitted(head, screen.width()))};
  std::size_t nameWidth = 0;
  for (const Zone& zone : mZones) {
    nameWidth = std::max(nameWidth, zone.name.size());
  }
  for (const Zone& zone : mZones) {
    result.push_back(zoneLine(zone, nameWidth, screen));
  }
  // The cursor needs a row, too.
  if (const std::size_t most = std::max(screen.rows, std::size_t{3}) - 1; result.size() > most) {
    const std::size_t hidden = result.size() - most + 1;
    result.resize(most - 1);
    result.push_back(fitted("and " + std::to_string(hidden) + " more", screen.width()));
  }
  return result;
}

void ThermalView::add(const Rows& zones) {
  const auto isSameZone = [](const Zone& zone, const Rows& row) {
    return row["zone"] == zone.name;
  };
  if (!std::equal(mZones.begin(), mZones.end(), zones.begin(), zones.end(), isSameZone)) {
    mZones.clear();
    for (const Rows& row : zones) {
      mZones.push_back({row["zone"], {}});
    }
  }
  for (std::size_t i = 0; i < mZones.size(); ++i) {
    auto& celsius = mZones[i].celsius;
    celsius.push_back(zones[i]["milli_celsius"].get<double>() / 1000);
    if (celsius.size() > kBars) {
      celsius.pop_front();
    }
  }
}

std::string ThermalView::zoneLine(const Zone& zone, std::size_t nameWidth, const Screen& screen) {
  constexpr double kLeastSpan = 5;  // a sensor's noise is no mountain
  const auto [low, high] = std::minmax_element(zone.celsius.begin(), zone.celsius.end());
  std::ostringstream text;
  text << std::left << std::setw(static_cast<int>(nameWidth)) << zone.name << std::right
       << std::fixed << std::setprecision(1) << "   " << std::setw(5) << zone.celsius.back()
       << " C   largest " << std::setw(5) << *high << " C   ";
  const std::string line = fitted(text.str(), screen.width());
  const std::size_t room = screen.width() - displayWidth(line);
  const auto count = static_cast<std::ptrdiff_t>(std::min(room, zone.celsius.size()));
  const std::vector<double> shown(zone.celsius.end() - count, zone.celsius.end());
  const Scale scale = {*low, std::max(*high, *low + kLeastSpan)};
  return line + joined(sparkline(shown, scale, screen.unicode));
}
