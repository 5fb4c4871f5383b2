#include "watch/LiveBlock.h"

#include <algorithm>
#include <ostream>

#include "Output.h"

namespace {

constexpr char kEraseToEndOfLine[] = "\033[K";
constexpr char kEraseBelow[] = "\033[J";
constexpr char kGap[] = "   ";

}  // namespace

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
