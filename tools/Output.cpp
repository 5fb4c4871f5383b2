#include "Output.h"

#include <algorithm>
#include <clocale>
#include <cstdio>
#include <cwchar>
#include <iterator>
#include <nlohmann/json.hpp>
#include <ostream>
#include <string_view>
#include <vector>

using nlohmann::ordered_json;

namespace {

constexpr std::size_t kWidestPaddedCell = 32;
constexpr std::uint64_t kFirstRoundedNumber = std::uint64_t{1} << 53;

/** Control characters, line breaks, what hides or reorders text, and codes that Unicode lacks. */
bool isTreacherous(wchar_t code) {
  static constexpr wchar_t kRanges[][2] = {
      {0, 0x1f},          {0x7f, 0x9f},          {0x61c, 0x61c},   {0x200b, 0x200f},
      {0x2028, 0x202e},   {0x2060, 0x206f},      {0xfeff, 0xfeff}, {0xfff9, 0xfffb},
      {0xe0000, 0xe007f}, {0x110000, 0x7fffffff}};
  return std::any_of(std::begin(kRanges), std::end(kRanges),
                     [code](const auto& range) { return range[0] <= code && code <= range[1]; });
}

/** The length of a text's first character; 0 unless it is UTF-8 and harmless. */
std::size_t harmlessLength(std::string_view text) {
  static const locale_t kUtf8 = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
  const locale_t previous = uselocale(kUtf8);
  std::mbstate_t state = {};
  wchar_t code = 0;
  const std::size_t length = std::mbrtowc(&code, text.data(), text.size(), &state);
  uselocale(previous);
  return length <= text.size() && !isTreacherous(code) ? length : 0;
}

std::string cellText(const ordered_json& cell) {
  if (cell.is_null()) {
    return "-";
  }
  return cell.is_string() ? visible(cell.get<std::string>()) : cell.dump();
}

using Line = std::vector<std::string>;

std::vector<Line> cellTexts(const ordered_json& rows) {
  std::vector<Line> lines(1);
  for (const auto& [name, cell] : rows.front().items()) {
    lines.front().push_back(name);
  }
  for (const ordered_json& row : rows) {
    Line& line = lines.emplace_back();
    std::transform(row.begin(), row.end(), std::back_inserter(line), cellText);
  }
  return lines;
}

}  // namespace

std::string visible(const std::string& text) {
  std::string result;
  for (std::string_view rest = text; !rest.empty();) {
    const std::size_t length = harmlessLength(rest);
    if (length > 0) {
      result += rest.substr(0, length);
    } else {
      char escaped[sizeof("\\xff")];
      std::snprintf(escaped, sizeof(escaped), "\\x%02x", static_cast<unsigned char>(rest.front()));
      result += escaped;
    }
    rest.remove_prefix(std::max(length, std::size_t{1}));
  }
  return result;
}

std::size_t displayWidth(const std::string& text) {
  std::size_t width = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\033') {
      i = std::min(text.find('m', i), text.size());
    } else if ((text[i] & 0xc0) != 0x80) {
      ++width;
    }
  }
  return width;
}

ordered_json exactNumber(std::uint64_t number) {
  return number < kFirstRoundedNumber ? ordered_json(number) : ordered_json(std::to_string(number));
}

void printJson(const ordered_json& value, std::ostream& out) {
  out << value.dump(2, ' ', false, ordered_json::error_handler_t::replace) << "\n";
}

void printTable(const ordered_json& rows, std::ostream& out) {
  if (rows.empty()) {
    out << "(no rows)\n";
    return;
  }
  const std::vector<Line> lines = cellTexts(rows);
  std::vector<std::size_t> widths(lines.front().size());
  for (const Line& line : lines) {
    for (std::size_t i = 0; i < line.size(); ++i) {
      const std::size_t width = displayWidth(line[i]);
      widths[i] = std::max(widths[i], width <= kWidestPaddedCell ? width : 0);
    }
  }
  for (const Line& line : lines) {
    for (std::size_t i = 0; i + 1 < line.size(); ++i) {
      const std::size_t width = displayWidth(line[i]);
      out << line[i] << std::string(std::max(widths[i], width) - width + 2, ' ');
    }
    out << line.back() << "\n";
  }
}

void printRows(const ordered_json& rows, bool json, std::ostream& out) {
  if (json) {
    printJson(rows, out);
  } else {
    printTable(rows, out);
  }
}
