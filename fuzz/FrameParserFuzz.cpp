#include "../events/GfxFrameParser.cpp"  // so that the fuzzer sees its branches

#include <algorithm>
#include <string_view>

#include "testing/FrameParserReference.h"

namespace {

/** A source without what the previous input left. Constructing one each time costs two look-ups. */
OpenGfxEvent& freshSource() {
  static OpenGfxEvent source;
  source.mFrameStages.clear();
  source.mLastFrameStart = 0;
  return source;
}

}  // namespace

/** The input is the texts of one source's reads, separated by zero bytes. */
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  OpenGfxEvent& source = freshSource();
  FrameParserReference reference;
  std::string_view rest(reinterpret_cast<const char*>(data), size);
  while (!rest.empty()) {
    const std::string_view text = rest.substr(0, rest.find('\0'));
    if (!reference.agreesWith(source, text)) {
      abort();
    }
    rest.remove_prefix(std::min(text.size() + 1, rest.size()));
  }
  return 0;
}
