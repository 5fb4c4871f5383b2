#include "watch/LiveView.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <ostream>

#include "Output.h"
#include "watch/Summary.h"

namespace {

constexpr char kEraseToEndOfLine[] = "\033[K";
constexpr char kEraseBelow[] = "\033[J";
constexpr char kGap[] = "   ";
constexpr std::size_t kLabelWidth = 11;
constexpr std::array kBlocks = {"▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
constexpr std::array kAscii = {"_", ".", ",", "-", "~", "=", "*", "#"};  // rises likewise

std::string label(const std::string& text) {
  return text + std::string(kLabelWidth - std::min(text.size(), kLabelWidth - 1), ' ');
}

std::string headLine(const LiveView& view) {
  const std::vector<double>& recent = view.latest.intervals;
  std::string head = label(view.source) + countText(view.latest, view.noun);
  if (const double sum = std::accumulate(recent.begin(), recent.end(), 0.0); sum > 0) {
    const double hz = view.unit.perSecond * static_cast<double>(recent.size()) / sum;
    head += " in all   " + fixed(hz, 1) + " Hz now";
  } else if (view.latest.rateHz) {
    head += " in all   none in the last " + std::to_string(kRecent.count()) + " s";
  }
  return head + "   Ctrl-C ends";
}

/** The bar of a part, from 0 to 1 or more, of the highest. */
const char* bar(double part, bool unicode) {
  const auto& bars = unicode ? kBlocks : kAscii;
  return bars[static_cast<std::size_t>(
      std::lround(std::clamp(part, 0.0, 1.0) * static_cast<double>(bars.size() - 1)))];
}

}  // namespace

std::vector<std::string> liveLines(const LiveView& view, const Screen& screen) {
  const std::vector<double>& recent = view.latest.intervals;
  const std::string head = screen.style.bold(fitted(headLine(view), screen.width()));
  if (recent.empty()) {
    return {head};
  }
  const Lateness late(recent);
  const std::string percentiles = label("last " + std::to_string(recent.size())) +
                                  std::to_string(late.events) + " late   " +
                                  Distribution(recent, view.unit).summary();

  const std::size_t room = screen.width() - std::min(kLabelWidth, screen.width());
  const std::size_t count = std::min(room, recent.size());
  std::string bars;
  std::string marks;
  for (std::size_t i = recent.size() - count; i < recent.size(); ++i) {
    const bool isLate = recent[i] > late.from;
    // The median is right at the fifth of eight heights: steady events do not flicker between two.
    const std::string height = bar(recent[i] / (1.75 * late.period), screen.unicode);
    bars += isLate ? screen.style.warning(height) : height;
    marks += isLate ? "^" : " ";
  }
  return {head, fitted(label("interval"), screen.width()) + bars,
          fitted(label(""), screen.width()) + screen.style.warning(marks),
          fitted(percentiles, screen.width())};
}

std::string fitted(const std::string& text, std::size_t columns) {
  std::string result = text;
  while (displayWidth(result) > columns) {
    const std::size_t gap = result.rfind(kGap);
    if (gap == std::string::npos) {
      break;
    }
    result.resize(gap);
    result.resize(result.find_last_not_of(' ') + 1);
  }
  while (displayWidth(result) > columns) {
    result.pop_back();
  }
  return result;
}

void LiveBlock::draw(const std::vector<std::string>& lines, const Screen& screen) {
  std::string text = home(screen.columns);
  mWidths.clear();
  for (const std::string& line : lines) {
    if (mWidths.size() + 1 >= screen.rows) {
      break;
    }
    text += line + kEraseToEndOfLine + "\n";
    mWidths.push_back(displayWidth(line));
  }
  mConsole.out << text << kEraseBelow << std::flush;
}

void LiveBlock::erase() {
  mConsole.out << home(Screen(mConsole).columns) << kEraseBelow << std::flush;
  mWidths.clear();
}

std::string LiveBlock::home(std::size_t columns) const {
  std::size_t rows = 0;
  for (const std::size_t width : mWidths) {
    rows += std::max((width + columns - 1) / columns, std::size_t{1});
  }
  return rows > 0 ? "\r\033[" + std::to_string(rows) + "A" : "\r";
}
