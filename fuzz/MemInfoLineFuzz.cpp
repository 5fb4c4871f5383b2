#include "../stats/MemInfo.cpp"  // its steps are private

#include <algorithm>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  char line[kLineSize] = {};
  std::copy_n(data, std::min(size, kLineSize - 1), line);
  char clean[kLineSize] = {};
  cleanLine(line, clean);
  const char* key = nullptr;
  std::uint64_t value = 0;
  SysStatsRecord record = {};
  record.slots[kSwapTotalSlot] = kUnknownFigure;
  if (splitLine(clean, key, value)) {
    takeFigure(key, value, record);
  }
  return 0;
}
