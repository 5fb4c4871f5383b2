#include "../stats/MemInfo.cpp"  // its steps are not exported

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  SysStatsRecord record = {};
  record.slots[kSwapTotalSlot] = kUnknownFigure;
  lmsupport::takeMemInfoLine(text.substr(lmsupport::takeMemInfoLines(text, record)), record);
  return 0;
}
