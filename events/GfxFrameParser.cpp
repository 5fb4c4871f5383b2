#include <cstdlib>
#include <cstring>
#include <limits>

#include "AsyncEventsMgr.h"
#include "events/CheckedSum.h"

/**
 * The text of the graphics node, split and converted as strtok_r and strtoul would, in one pass that
 * leaves it as it is:
 *
 *     records separated by runs of ':', in each, fields separated by runs of ' ':
 *     unused  a  b  stage  time  unused...
 *
 * A record as drivers write it is read digit by digit; any other is read by the C library.
 */
namespace {

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

/**
 * Reads a decimal number of as many digits as any value may have; returns false for whatever else a
 * field may be. Inlined, so that the processor learns the usual length of each field apart.
 */
[[gnu::always_inline]] inline bool readDecimal(const char*& text, unsigned long& value) {
  const char* const begin = text;
  const char* const limit = begin + std::numeric_limits<unsigned long>::digits10;
  value = 0;
  while (*text >= '0' && *text <= '9' && text != limit) {
    value = value * 10 + static_cast<unsigned long>(*text++ - '0');
  }
  const bool octal = *begin == '0' && text != begin + 1;
  return text != begin && !octal;
}

/** Moves past the one space that ends a field; returns false for another end. */
bool skipSpace(const char*& text) { return *text++ == ' '; }

bool endsField(char character) { return character == ' ' || character == ':' || character == '\0'; }

/** Reads "unused a b stage time" with single spaces and decimal numbers; false for other records. */
bool readUsualRecord(const char* text, Record& record) {
  const char* next = text;
  while (!endsField(*next)) {
    ++next;
  }
  return next != text && skipSpace(next) && readDecimal(next, record.a) && skipSpace(next) &&
         readDecimal(next, record.b) && skipSpace(next) && readDecimal(next, record.stage) &&
         skipSpace(next) && readDecimal(next, record.time) && endsField(*next);
}

/** strtoul in base 0, for a field that ends before a separator or the end of the text. */
unsigned long convert(const char* field, const char* end) {
  field += std::strspn(field, "\t\n\v\f\r");  // only white space could lead strtoul beyond the end
  return field == end ? 0 : strtoul(field, nullptr, 0);
}

/** Moves to the end of the next field; returns where it begins. */
const char* skipField(const char*& text) {
  const char* const field = text + std::strspn(text, " ");
  text = field + std::strcspn(field, " :");
  return field;
}

/** Reads any record. */
void readAnyRecord(const char* text, Record& record) {
  record = {};
  skipField(text);
  for (unsigned long* const value : {&record.a, &record.b, &record.stage, &record.time}) {
    if (*text != ' ') {
      return;
    }
    const char* const field = skipField(text);
    *value = convert(field, text);
  }
}

/** Reads the next record and moves to its end; returns false when there is none. */
bool readRecord(const char*& text, Record& record) {
  if (*text == ':' && *++text == ':') {
    text += std::strspn(text, ":");
  }
  if (*text == '\0') {
    return false;
  }
  if (!readUsualRecord(text, record)) {
    readAnyRecord(text, record);
  }
  text = strchrnul(text, ':');
  return true;
}

/** Cantor's pairing, in double precision. A sum that overflows ends the process. */
unsigned long frameKey(unsigned long a, unsigned long b) {
  const unsigned long sum = lmsupport::checkedSum(a, b);
  const unsigned long next = lmsupport::checkedSum(sum, 1);
  const double key =
      static_cast<double>(sum) * 0.5 * static_cast<double>(next) + static_cast<double>(b);
  constexpr double kTooLarge = 0x1p64;
  return key < kTooLarge ? static_cast<unsigned long>(key)
                         : std::numeric_limits<unsigned long>::max();
}

/** Adds a frame, in the memory of an earlier one if there is some. */
template <typename Frames>
void addFrame(Frames& frames, unsigned long key, double time, typename Frames::node_type& spare) {
  if (spare.empty()) {
    frames.emplace(key, std::vector<double>(kThird, time));
    return;
  }
  spare.key() = key;
  spare.mapped().assign(kThird, time);
  frames.insert(std::move(spare));
}

}  // namespace

void GfxEvent::stringParser(char* text, GfxFrameData& out) {
  if (text == nullptr) {
    return;
  }
  std::lock_guard lock(mFrameLock);
  decltype(mFrameStages)::node_type spare;
  Record record;
  const char* next = text;
  while (readRecord(next, record)) {
    const unsigned long key = frameKey(record.a, record.b);
    const double time = static_cast<double>(record.time) / kTimeUnits;
    const auto frame = mFrameStages.find(key);
    const bool isPending = frame != mFrameStages.end();
    if (record.stage == kFirst) {
      if (isPending) {
        frame->second[0] = time;
      } else {
        addFrame(mFrameStages, key, time, spare);
      }
      countFrameStart(time, out);
    } else if (record.stage == kSecond && isPending) {
      frame->second[1] = time;
      out.firstToSecondStage.push_back(time - frame->second[0]);
    } else if (record.stage == kThird && isPending) {
      frame->second[2] = time;
      out.secondToThirdStage.push_back(time - frame->second[1]);
      spare = mFrameStages.extract(frame);
    }
  }
}

void GfxEvent::countFrameStart(double time, GfxFrameData& out) {
  const auto interval = static_cast<float>(time - static_cast<double>(mLastFrameStart));
  if (interval > kShortestInterval) {
    out.frameStartIntervals.push_back(interval);
    mLastFrameStart = static_cast<float>(time);
  }
}
