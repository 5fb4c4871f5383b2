#include "stats/MemInfo.h"

#include <fcntl.h>
#include <unistd.h>

#include <cctype>
#include <cstdlib>
#include <cstring>

#include <android-base/unique_fd.h>

#include "detail/LMLog.h"

using lmsupport::kStatsProvider;

namespace {

constexpr char kMemInfoPath[] = "/proc/meminfo";
constexpr std::size_t kBufferSize = 8192;  // a real one takes a single read

/** What the steps log as. */
constexpr char kGetMemInfo[] = "getMemInfo";

/** A line's printable characters up to '|', terminated. */
using CleanLine = char[lmsupport::kMemInfoLineSize + 1];

bool isKept(char character) { return character >= ' ' && character <= '|'; }

/** Copies what is kept of line, up to its first NUL. */
void cleanLine(std::string_view line, CleanLine& clean) {
  char* end = clean;
  for (const char character : line) {
    if (character == '\0') {
      break;
    }
    if (isKept(character)) {
      *end++ = character;
    }
  }
  *end = '\0';
}

/** Splits "key: value" in place; false when there is no colon or no digit after it. */
bool splitLine(char* line, const char*& key, std::uint64_t& value) {
  key = line + std::strspn(line, " ");
  char* const colon = std::strchr(line, ':');
  if (colon == nullptr) {
    return false;
  }
  *colon = '\0';
  const char* const digits = colon + 1 + std::strspn(colon + 1, " ");
  if (std::isdigit(static_cast<unsigned char>(*digits)) == 0) {
    return false;
  }
  value = static_cast<std::uint64_t>(std::int64_t{std::atoi(digits)});
  return true;
}

void setSwapUsed(std::uint64_t swapFree, SysStatsRecord& record) {
  const std::uint64_t swapTotal = record.slots[kSwapTotalSlot];
  if (swapTotal == kUnknownFigure) {
    LM_LOGE_AS(kStatsProvider, kGetMemInfo, __LINE__, "getMemInfo: could not get SwapUsed");
    return;
  }
  if (__builtin_sub_overflow(swapTotal, swapFree, &record.slots[kSwapUsedSlot])) {
    std::abort();
  }
}

void takeFigure(const char* key, std::uint64_t value, SysStatsRecord& record) {
  if (key[0] == 'V' && std::strstr(key, "VmallocUsed") != nullptr) {
    record.slots[kVmallocUsedSlot] = value;
  } else if (key[0] == 'S' && std::strstr(key, "SwapTotal") != nullptr) {
    record.slots[kSwapTotalSlot] = value;
  } else if (key[0] == 'S' && std::strstr(key, "SwapFree") != nullptr) {
    setSwapUsed(value, record);
  }
}

/** Whether the key may be one of those that are looked for; most are not, which saves time. */
bool mayBeWatched(std::string_view line) {
  for (const char character : line) {
    if (character > ' ' && isKept(character)) {
      return character == 'S' || character == 'V';
    }
  }
  return false;
}

}  // namespace

namespace lmsupport {

void takeMemInfoLine(std::string_view line, SysStatsRecord& record) {
  if (!mayBeWatched(line)) {
    return;
  }
  CleanLine clean;
  cleanLine(line, clean);
  const char* key = nullptr;
  std::uint64_t value = 0;
  if (splitLine(clean, key, value)) {
    takeFigure(key, value, record);
  }
}

std::size_t takeMemInfoLines(std::string_view text, SysStatsRecord& record) {
  std::size_t begin = 0;
  for (;;) {
    const std::string_view line = text.substr(begin, kMemInfoLineSize);
    const std::size_t newline = line.find('\n');
    if (newline == std::string_view::npos && line.size() < kMemInfoLineSize) {
      return begin;
    }
    const std::size_t size = std::min(newline, line.size() - 1) + 1;
    takeMemInfoLine(line.substr(0, size), record);
    begin += size;
  }
}

}  // namespace lmsupport

SysStatsRecord StatsProvider::getMemInfo() {
  SysStatsRecord record = {};
  record.slots[kSwapUsedSlot] = kUnknownFigure;
  record.slots[kSwapTotalSlot] = kUnknownFigure;
  record.slots[kVmallocUsedSlot] = kUnknownFigure;
  const android::base::unique_fd file(open(kMemInfoPath, O_RDONLY | O_CLOEXEC));
  if (!file.ok()) {
    LM_LOGE(kStatsProvider, "%s: fopen failed on %s\n", __func__, kMemInfoPath);
    return record;
  }
  char text[kBufferSize];
  std::size_t size = 0;
  for (ssize_t count; (count = read(file.get(), text + size, sizeof(text) - size)) != 0;) {
    if (count < 0) {
      return record;
    }
    size += static_cast<std::size_t>(count);
    const std::size_t taken = lmsupport::takeMemInfoLines({text, size}, record);
    size -= taken;
    std::memmove(text, text + taken, size);
  }
  lmsupport::takeMemInfoLine({text, size}, record);
  return record;
}
