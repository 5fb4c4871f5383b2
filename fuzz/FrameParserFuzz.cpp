#include "../events/GfxFrameParser.cpp"  // so that the fuzzer sees its branches

#include <sstream>

#include "testing/FrameParserReference.h"

/** The input is the texts of one source's reads, separated by zero bytes. */
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  OpenGfxEvent source;
  FrameParserReference reference;
  std::istringstream reads(std::string(data, data + size));
  for (std::string text; std::getline(reads, text, '\0');) {
    if (!reference.agreesWith(source, text)) {
      abort();
    }
  }
  return 0;
}
