#include "Payloads.h"

#include <charconv>

namespace {

/** Sets count from text; false when it is no whole number of 32 bits. */
bool parseCount(const std::string& text, std::int32_t& count) {
  const char* const end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, count);
  return result.ec == std::errc() && result.ptr == end;
}

}  // namespace

std::string payloadProblem(const std::string& text, bool slots) {
  if (slots) {
    return text.size() < sizeof(SlotPayload::slotText)
               ? ""
               : "the slot's text is too long; give at most 4095 bytes";
  }
  std::int32_t ignored = 0;
  return parseCount(text, ignored)
             ? ""
             : "'" + text + "' is no launch count; give a 32-bit whole number";
}

void setPayload(LaunchPayload& payload, const std::string& text) {
  parseCount(text, payload.launchCount);
}

void setPayload(SlotPayload& payload, const std::string& text) {
  payload = {};
  text.copy(payload.slotText, sizeof(payload.slotText) - 1);
}
