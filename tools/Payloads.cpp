#include "Payloads.h"

#include <limits>

#include "Texts.h"

std::string payloadProblem(const std::string& text, bool slots) {
  if (slots) {
    return text.size() < sizeof(SlotPayload::slotText) ? ""
                                                       : "a slot's text has at most 4095 bytes";
  }
  using Limits = std::numeric_limits<decltype(LaunchPayload::launchCount)>;
  return wholeNumberProblem(text, Limits::min(), Limits::max());
}

void setPayload(LaunchPayload& payload, const std::string& text) {
  payload.launchCount = std::stoi(text);
}

void setPayload(SlotPayload& payload, const std::string& text) {
  payload = {};
  text.copy(payload.slotText, sizeof(payload.slotText) - 1);
}
