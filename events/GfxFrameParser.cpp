#include <cctype>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string_view>

#include "AsyncEventsMgr.h"

/**
 * The text of the graphics node, split and converted as strtok_r and strtoul would, in one pass that
 * leaves it as it is:
 *
 *     records separated by runs of ':', in each, fields separated by runs of ' ':
 *     unused  a  b  stage  time  unused...
 */
namespace {

constexpr char kRecordSeparator = ':';
constexpr char kFieldSeparator = ' ';
constexpr double kTimeUnits = 1000.0;
constexpr float kShortestInterval = 4.0F;

enum Stage : unsigned long { kFirst = 1, kSecond = 2, kThird = 3 };

enum Field { kUnused, kKeyA, kKeyB, kStage, kTime, kFieldCount };

/** A record's numbers; a missing field is 0. */
using Record = unsigned long[kFieldCount];

const char* skip(const char* text, char separator) {
  while (*text == separator) {
    ++text;
  }
  return text;
}

bool isDigit(char character) { return character >= '0' && character <= '9'; }

/**
 * Reads a record all of whose fields are there, in decimal and without leading zeros, and moves text
 * behind them. Returns false, without moving it, for any other text.
 */
bool readDecimalRecord(const char*& text, Record& record) {
  constexpr int kSafeDigits = std::numeric_limits<unsigned long>::digits10;
  const char* at = text;
  for (unsigned long& value : record) {
    at = skip(at, kFieldSeparator);
    const char* const field = at;
    value = 0;
    for (; isDigit(*at) && at - field < kSafeDigits; ++at) {
      value = value * 10 + static_cast<unsigned long>(*at - '0');
    }
    const bool ends = *at == kFieldSeparator || *at == kRecordSeparator || *at == '\0';
    const bool octal = *field == '0' && at - field > 1;
    if (!ends || at == field || octal) {
      return false;
    }
  }
  text = at;
  return true;
}

/** strtoul in base 0 of a field that ends before a separator or the end of the text. */
unsigned long convert(std::string_view field) {
  // Only white space could lead strtoul beyond the end.
  while (!field.empty() && std::isspace(static_cast<unsigned char>(field.front())) != 0) {
    field.remove_prefix(1);
  }
  return field.empty() ? 0 : strtoul(field.data(), nullptr, 0);
}

/** Reads any record, which ends at recordEnd. */
void readRecord(const char* text, const char* recordEnd, Record& record) {
  for (unsigned long& value : record) {
    text = skip(text, kFieldSeparator);
    const auto* const separator = static_cast<const char*>(
        std::memchr(text, kFieldSeparator, static_cast<std::size_t>(recordEnd - text)));
    const char* const fieldEnd = separator != nullptr ? separator : recordEnd;
    value = convert({text, static_cast<std::size_t>(fieldEnd - text)});
    text = fieldEnd;
  }
}

/** Reads the next record and moves text behind it. Returns false at the end of the text. */
bool nextRecord(const char*& text, Record& record) {
  text = skip(text, kRecordSeparator);
  if (*text == '\0') {
    return false;
  }
  const char* const begin = text;
  const bool decimal = readDecimalRecord(text, record);
  text = strchrnul(text, kRecordSeparator);
  if (!decimal) {
    readRecord(begin, text, record);
  }
  return true;
}

/** Cantor's pairing, in double precision. A sum that overflows ends the process. */
unsigned long frameKey(unsigned long a, unsigned long b) {
  unsigned long sum = 0;
  unsigned long next = 0;
  if (__builtin_add_overflow(a, b, &sum) || __builtin_add_overflow(sum, 1, &next)) {
    abort();
  }
  const double key =
      static_cast<double>(sum) * 0.5 * static_cast<double>(next) + static_cast<double>(b);
  constexpr double kTooLarge = 0x1p64;
  return key < kTooLarge ? static_cast<unsigned long>(key)
                         : std::numeric_limits<unsigned long>::max();
}

}  // namespace

void GfxEvent::stringParser(char* text, GfxFrameData& out) {
  if (text == nullptr) {
    return;
  }
  std::lock_guard lock(mFrameLock);
  const char* next = text;
  for (Record record; nextRecord(next, record);) {
    const unsigned long key = frameKey(record[kKeyA], record[kKeyB]);
    const unsigned long stage = record[kStage];
    const double time = static_cast<double>(record[kTime]) / kTimeUnits;
    if (stage < kFirst || stage > kThird) {
      continue;
    }
    const auto frame = mFrameStages.find(key);
    if (frame == mFrameStages.end()) {
      if (stage == kFirst) {
        addFrame(key, time);
        countFrameStart(time, out);
      }
      continue;
    }
    std::vector<double>& times = frame->second;
    times[stage - 1] = time;
    if (stage == kFirst) {
      countFrameStart(time, out);
    } else if (stage == kSecond) {
      out.firstToSecondStage.push_back(time - times[0]);
    } else {
      out.secondToThirdStage.push_back(time - times[1]);
      mSpareFrames.push_back(mFrameStages.extract(frame));
    }
  }
}

void GfxEvent::addFrame(unsigned long key, double time) {
  if (mSpareFrames.empty()) {
    mFrameStages.emplace(key, std::vector<double>(kThird, time));
    return;
  }
  FrameStages::node_type& frame = mSpareFrames.back();
  frame.key() = key;
  frame.mapped().assign(kThird, time);
  mFrameStages.insert(std::move(frame));
  mSpareFrames.pop_back();
}

void GfxEvent::countFrameStart(double time, GfxFrameData& out) {
  const auto interval = static_cast<float>(time - static_cast<double>(mLastFrameStart));
  if (interval > kShortestInterval) {
    out.frameStartIntervals.push_back(interval);
    mLastFrameStart = static_cast<float>(time);
  }
}
