#include "stats/MemInfo.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
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

/** Printable characters up to '|' count. */
bool counts(char character) { return character >= ' ' && character <= '|'; }

/** Copies those of line that count, up to its first NUL, and terminates them. */
std::string_view cleanLine(std::string_view line, char* clean) {
  char* end = clean;
  for (const char character : line.substr(0, line.find('\0'))) {
    *end = character;
    end += counts(character) ? 1 : 0;
  }
  *end = '\0';
  return {clean, static_cast<std::size_t>(end - clean)};
}

bool contains(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
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

std::uint64_t figure(const char* digits) {
  return static_cast<std::uint64_t>(std::int64_t{std::atoi(digits)});
}

void takeFigure(std::string_view key, const char* digits, SysStatsRecord& record) {
  if (key[0] == 'V' && contains(key, "VmallocUsed")) {
    record.slots[kVmallocUsedSlot] = figure(digits);
  } else if (key[0] == 'S' && contains(key, "SwapTotal")) {
    record.slots[kSwapTotalSlot] = figure(digits);
  } else if (key[0] == 'S' && contains(key, "SwapFree")) {
    setSwapUsed(figure(digits), record);
  }
}

/** False for most lines, at a glance: each key that is looked for has two letters that few have. */
bool mayHaveFigure(std::string_view line) {
  for (const char character : line) {
    if (character != ' ' && counts(character)) {
      return (character == 'S' && contains(line, "w")) || (character == 'V' && contains(line, "U"));
    }
  }
  return false;
}

}  // namespace

namespace lmsupport {

void takeMemInfoLine(std::string_view line, SysStatsRecord& record) {
  if (!mayHaveFigure(line)) {
    return;
  }
  char clean[kMemInfoLineSize + 1];
  const std::string_view text = cleanLine(line, clean);
  const std::size_t key = text.find_first_not_of(' ');
  const std::size_t colon = text.find(':');
  if (colon == std::string_view::npos) {
    return;
  }
  const std::size_t digits = text.find_first_not_of(' ', colon + 1);
  if (digits != std::string_view::npos && text[digits] >= '0' && text[digits] <= '9') {
    takeFigure(text.substr(key, colon - key), text.data() + digits, record);
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
  ssize_t count = 0;
  while ((count = read(file.get(), text + size, sizeof(text) - size)) > 0) {
    size += static_cast<std::size_t>(count);
    const std::size_t taken = lmsupport::takeMemInfoLines({text, size}, record);
    size -= taken;
    std::memmove(text, text + taken, size);
  }
  if (count == 0) {  // what a failed read leaves behind is not known to be a whole line
    lmsupport::takeMemInfoLine({text, size}, record);
  }
  return record;
}
