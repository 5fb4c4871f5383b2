#include "Texts.h"

#include <charconv>
#include <cstdlib>

namespace {

constexpr double kLeastSeconds = 0.1;

}  // namespace

std::string wholeNumberProblem(const std::string& text, std::int64_t low, std::int64_t high) {
  std::int64_t value = 0;
  const char* const end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, value);
  const bool good = result.ec == std::errc() && result.ptr == end && value >= low && value <= high;
  return good ? ""
              : "'" + text + "' is no whole number from " + std::to_string(low) + " to " +
                    std::to_string(high);
}

std::string secondsProblem(const std::string& text, int most) {
  char* end = nullptr;
  const double value = std::strtod(text.c_str(), &end);
  const bool good = *end == '\0' && value >= kLeastSeconds && value <= most;  // no NaN is
  return good ? "" : "'" + text + "' is no number from 0.1 to " + std::to_string(most);
}

std::string visible(const std::string& text) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string result;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < ' ' || byte == 0x7f) {
      result.append("\\x").append(1, kDigits[byte >> 4]).append(1, kDigits[byte & 0xf]);
    } else {
      result += c;
    }
  }
  return result;
}
