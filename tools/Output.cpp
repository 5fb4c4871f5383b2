#include "Output.h"

#include <algorithm>
#include <iterator>
#include <nlohmann/json.hpp>
#include <ostream>
#include <string_view>
#include <vector>

using nlohmann::ordered_json;

namespace {

constexpr std::size_t kWidestPaddedCell = 32;
constexpr std::uint64_t kFirstRoundedNumber = std::uint64_t{1} << 53;

unsigned byteAt(std::string_view text, std::size_t index) {
  return static_cast<unsigned char>(text[index]);
}

/** A text's first character; of length 0 when there is none in UTF-8. */
struct Character {
  explicit Character(std::string_view text) : code(byteAt(text, 0)) {
    const std::size_t expected = code < 0x80 ? 1 : code < 0xe0 ? 2 : code < 0xf0 ? 3 : 4;
    if (expected > 1) {
      code = code < 0xc2 || code > 0xf4 ? kNone : code & (0x7fU >> expected);
    }
    for (std::size_t i = 1; i < expected && code != kNone; ++i) {
      const unsigned byte = i < text.size() ? byteAt(text, i) : 0;
      code = (byte & 0xc0) == 0x80 ? code << 6 | (byte & 0x3f) : kNone;
    }
    constexpr char32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
    const bool isSurrogate = code >= 0xd800 && code < 0xe000;
    length = code >= kLeast[expected] && code <= 0x10ffff && !isSurrogate ? expected : 0;
  }

  static constexpr char32_t kNone = 0xffffffff;
  char32_t code;
  std::size_t length = 0;
};

/** Control characters, line breaks, and characters that hide or reorder text. */
bool isTreacherous(char32_t code) {
  struct Range {
    char32_t first, last;
  };
  static constexpr Range kRanges[] = {{0, 0x1f},        {0x7f, 0x9f},     {0x61c, 0x61c},
                                      {0x200b, 0x200f}, {0x2028, 0x202e}, {0x2060, 0x206f},
                                      {0xfeff, 0xfeff}, {0xfff9, 0xfffb}, {0xe0000, 0xe007f}};
  return std::any_of(std::begin(kRanges), std::end(kRanges), [code](const Range& range) {
    return code >= range.first && code <= range.last;
  });
}

void appendBytes(std::string_view bytes, std::string& text) {
  constexpr char kDigits[] = "0123456789abcdef";
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const unsigned byte = byteAt(bytes, i);
    text.append("\\x").append(1, kDigits[byte >> 4]).append(1, kDigits[byte & 0xf]);
  }
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
    const Character character(rest);
    const std::string_view bytes = rest.substr(0, std::max(character.length, std::size_t{1}));
    if (character.length == 0 || isTreacherous(character.code)) {
      appendBytes(bytes, result);
    } else {
      result += bytes;
    }
    rest.remove_prefix(bytes.size());
  }
  return result;
}

std::size_t displayWidth(const std::string& text) {
  std::size_t width = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\033') {
      i = std::min(text.find('m', i), text.size());
    } else if ((byteAt(text, i) & 0xc0) != 0x80) {
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
