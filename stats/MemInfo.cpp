#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "StatsProvider.h"
#include "detail/LMLog.h"

using lmsupport::kStatsProvider;

namespace {

constexpr char kMemInfoPath[] = "/proc/meminfo";
constexpr std::size_t kLineSize = 100;

/** Copies the printable characters of line up to '|'; clean is zeroed and as long as line can be.
 */
void cleanLine(const char* line, char* clean) {
  for (std::size_t i = 0; i < kLineSize - 1 && line[i] != '\0'; ++i) {
    if (line[i] >= ' ' && line[i] <= '|') {
      *clean++ = line[i];
    }
  }
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
    LM_LOGE_AS(kStatsProvider, "getMemInfo", __LINE__, "getMemInfo: could not get SwapUsed");
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

}  // namespace

SysStatsRecord StatsProvider::getMemInfo() {
  SysStatsRecord record = {};
  record.slots[kSwapUsedSlot] = kUnknownFigure;
  record.slots[kSwapTotalSlot] = kUnknownFigure;
  record.slots[kVmallocUsedSlot] = kUnknownFigure;
  const std::unique_ptr<FILE, decltype(&std::fclose)> file(std::fopen(kMemInfoPath, "r"),
                                                           std::fclose);
  if (file == nullptr) {
    LM_LOGE(kStatsProvider, "%s: fopen failed on %s\n", __func__, kMemInfoPath);
    return record;
  }
  char line[kLineSize];
  while (std::fgets(line, sizeof(line), file.get()) != nullptr) {
    char clean[kLineSize] = {};
    cleanLine(line, clean);
    const char* key = nullptr;
    std::uint64_t value = 0;
    if (splitLine(clean, key, value)) {
      takeFigure(key, value, record);
    }
  }
  return record;
}
