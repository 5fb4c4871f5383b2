#include "../stats/MemInfo.cpp"  // its steps are not exported

#include <algorithm>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <tuple>

namespace {

int gLogLines = 0;

struct Result {
  SysStatsRecord record = {};
  int logLines = 0;

  Result() {
    for (const int slot : {kSwapUsedSlot, kSwapTotalSlot, kVmallocUsedSlot}) {
      record.slots[slot] = kUnknownFigure;
    }
  }

  bool operator==(const Result& other) const {
    return logLines == other.logLines &&
           std::equal(std::begin(record.slots), std::end(record.slots), other.record.slots);
  }
};

/** getMemInfo the plain way. */
class MemInfoReference {
 public:
  /** The result for a file with that text; none where the library aborts. */
  std::optional<Result> read(std::string_view text) {
    const std::unique_ptr<FILE, decltype(&fclose)> file(
        fmemopen(const_cast<char*>(text.data()), text.size(), "r"), fclose);
    bool aborts = false;
    for (char line[100]; !aborts && fgets(line, sizeof(line), file.get()) != nullptr;) {
      aborts = !take(line);
    }
    return aborts ? std::nullopt : std::optional(mResult);
  }

 private:
  /** Returns false where the library aborts. */
  bool take(const char* line) {
    std::string clean;
    for (; *line != '\0'; ++line) {
      if (*line >= 32 && *line <= 124) {
        clean += *line;
      }
    }
    const std::size_t keyBegin = std::min(clean.find_first_not_of(' '), clean.size());
    const std::size_t colon = clean.find(':');
    if (colon == std::string::npos) {
      return true;
    }
    const std::string key = clean.substr(keyBegin, colon - keyBegin);
    const std::size_t digits = clean.find_first_not_of(' ', colon + 1);
    if (digits == std::string::npos || clean[digits] < '0' || clean[digits] > '9') {
      return true;
    }
    return store(key, std::uint64_t(std::int64_t{atoi(clean.c_str() + digits)}));
  }

  bool store(const std::string& key, std::uint64_t value) {
    const auto contains = [&](const char* name) {
      return key[0] == name[0] && key.find(name) != std::string::npos;
    };
    auto& slots = mResult.record.slots;
    if (contains("VmallocUsed")) {
      slots[kVmallocUsedSlot] = value;
    } else if (contains("SwapTotal")) {
      slots[kSwapTotalSlot] = value;
    } else if (contains("SwapFree") && slots[kSwapTotalSlot] == kUnknownFigure) {
      ++mResult.logLines;
    } else if (contains("SwapFree")) {
      slots[kSwapUsedSlot] = slots[kSwapTotalSlot] - value;
      return slots[kSwapTotalSlot] >= value;
    }
    return true;
  }

  Result mResult;
};

/** The library's result for text that it reads pieceSize bytes at a time. */
Result readInPieces(std::string_view text, std::size_t pieceSize) {
  Result result;
  gLogLines = 0;
  std::size_t begin = 0;
  for (std::size_t end = 0; end < text.size();) {
    end = std::min(end + pieceSize, text.size());
    begin += lmsupport::takeMemInfoLines(text.substr(begin, end - begin), result.record);
  }
  lmsupport::takeMemInfoLine(text.substr(begin), result.record);
  result.logLines = gLogLines;
  return result;
}

}  // namespace

extern "C" int __android_log_print(int, const char*, const char*, ...) { return ++gLogLines; }

/** The first byte chooses the size of the pieces, the rest is the file. */
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) {
    return 0;
  }
  const std::string_view text(reinterpret_cast<const char*>(data) + 1, size - 1);
  const std::optional<Result> expected = MemInfoReference().read(text);
  if (expected && !(readInPieces(text, data[0] + 1u) == *expected)) {
    abort();
  }
  return 0;
}
