#include "Output.h"

#include <algorithm>
#include <bit>
#include <cstdio>
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
bool isTreacherous(char32_t code) {
  static constexpr char32_t kRanges[][2] = {
      {0, 0x1f},        {0x7f, 0x9f},       {0x61c, 0x61c},      {0x200b, 0x200f},
      {0x2028, 0x202e}, {0x2060, 0x206f},   {0xd800, 0xdfff},    {0xfeff, 0xfeff},
      {0xfff9, 0xfffb}, {0xe0000, 0xe007f}, {0x110000, 0x1fffff}};
  return std::any_of(std::begin(kRanges), std::end(kRanges),
                     [code](const auto& range) { return range[0] <= code && code <= range[1]; });
}

/**
 * The length of a text's first character; 0 unless it is UTF-8 and harmless. The C library would need a
 * locale for this, and not every system has one.
 */
std::size_t harmlessLength(std::string_view text) {
  static constexpr char32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};  // of so many bytes
  const auto first = static_cast<unsigned char>(text.front());
  const auto ones = static_cast<std::size_t>(std::countl_one(first));
  const std::size_t length = std::max(ones, std::size_t{1});
  if (ones == 1 || ones > 4 || length > text.size()) {
    return 0;
  }
  char32_t code = first & (0xffU >> ones);
  for (const char next : text.substr(1, length - 1)) {
    if ((next & 0xc0) != 0x80) {
      return 0;
    }
    code = code << 6 | (next & 0x3f);
  }
  return code >= kLeast[length] && !isTreacherous(code) ? length : 0;
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
  if (rows.is_object()) {
    return printTable(ordered_json::array({rows}), out);
  }
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

int printResult(const ordered_json& result, bool json, Console& console) {
  (json ? printJson : printTable)(result, console.out);
  return kSuccess;
}
