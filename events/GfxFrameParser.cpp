#include <cstdlib>
#include <cstring>
#include <limits>

#include "AsyncEventsMgr.h"

/**
 * The text of the graphics node, split and converted as strtok_r and strtoul would, in one pass that
 * leaves it as it is:
 *
 *     records separated by runs of ':', in each, fields separated by runs of ' ':
 *     unused  a  b  stage  time  unused...
 */
namespace {

constexpr char kSeparators[] = " :";
constexpr char kFieldSeparator[] = " ";
constexpr char kRecordSeparator[] = ":";
constexpr char kOtherSpace[] = "\t\n\v\f\r";
constexpr int kShortRest = 4;
constexpr std::size_t kSafeDigits = std::numeric_limits<unsigned long>::digits10;
constexpr double kTimeUnits = 1000.0;
constexpr float kShortestInterval = 4.0F;

enum Stage : unsigned long { kFirst = 1, kSecond = 2, kThird = 3 };

/** A record's numbers; a missing field is 0. */
struct Record {
  unsigned long a;
  unsigned long b;
  unsigned long stage;
  unsigned long time;
};

/** Moves behind a run of the one separator in separators; mostly it is a single one. */
const char* skip(const char* text, const char* separators) {
  if (*text != *separators || *++text != *separators) {
    return text;
  }
  return text + std::strspn(text, separators);
}

/** The value of a digit; more than 9 for any other character. */
unsigned long digitValue(char character) {
  return static_cast<unsigned long>(static_cast<unsigned char>(character)) - '0';
}

bool endsField(char character) {
  return character == *kFieldSeparator || character == *kRecordSeparator || character == '\0';
}

/** strtoul in base 0 of a field that ends before a separator or the end of the text. */
unsigned long convert(const char* field, const char* end) {
  field += std::strspn(field, kOtherSpace);  // only white space could lead strtoul beyond the end
  return field == end ? 0 : strtoul(field, nullptr, 0);
}

/**
 * Reads a record's next field, 0 when there is none, and returns the end of it. Inlined, so that the
 * processor learns the usual length of each field apart.
 */
[[gnu::always_inline]] inline const char* readField(const char* text, unsigned long& value) {
  const char* const field = skip(text, kFieldSeparator);
  unsigned long number = 0;
  std::size_t digits = 0;
  for (unsigned long digit = 0; digits < kSafeDigits && (digit = digitValue(field[digits])) < 10;
       ++digits) {
    number = number * 10 + digit;
  }
  const char* end = field + digits;
  const bool decimal = *field != '0' || digits == 1;
  if (!decimal || !endsField(*end)) {
    end += std::strcspn(end, kSeparators);
    number = convert(field, end);
  }
  value = number;
  return end;
}

/** Moves behind what is left of a record; mostly that is little. */
const char* skipRest(const char* text) {
  for (int i = 0; i < kShortRest; ++i, ++text) {
    if (*text == *kRecordSeparator || *text == '\0') {
      return text;
    }
  }
  return strchrnul(text, *kRecordSeparator);
}

/** Reads the next record and returns the end of it; null when there is none. */
const char* readRecord(const char* text, Record& record) {
  text = skip(text, kRecordSeparator);
  if (*text == '\0') {
    return nullptr;
  }
  text = skip(text, kFieldSeparator);
  while (!endsField(*text)) {
    ++text;
  }
  text = readField(text, record.a);
  text = readField(text, record.b);
  text = readField(text, record.stage);
  text = readField(text, record.time);
  return skipRest(text);
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
  Record record;
  const char* next = text;
  while ((next = readRecord(next, record)) != nullptr) {
    const unsigned long key = frameKey(record.a, record.b);
    const unsigned long stage = record.stage;
    const double time = static_cast<double>(record.time) / kTimeUnits;
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
