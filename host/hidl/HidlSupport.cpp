#include <android/log.h>
#include <hidl/HidlSupport.h>

#include <cstring>
#include <limits>
#include <sstream>
#include <string_view>

namespace android::hardware {

namespace details {

void fail(const std::string& text) { __android_log_assert(nullptr, "lmhost", "%s", text.c_str()); }

std::uint32_t checkedSize(std::size_t size) {
  if (size > std::numeric_limits<std::uint32_t>::max()) {
    fail("HIDL size " + std::to_string(size) + " exceeds 32 bits");
  }
  return static_cast<std::uint32_t>(size);
}

std::string toHexString(std::uint64_t value) {
  std::ostringstream text;
  text << "0x" << std::hex << value;
  return text.str();
}

}  // namespace details

hidl_string::hidl_string(const char* text)
    : hidl_string(text, text == nullptr ? 0 : std::strlen(text)) {}

hidl_string::hidl_string(const char* text, std::size_t size) : mSize(details::checkedSize(size)) {
  if (mSize == 0) {
    return;
  }
  char* const copy = new char[size + 1];
  std::memcpy(copy, text, size);
  copy[size] = '\0';
  mBuffer = copy;
  mOwnsBuffer = true;
}

hidl_string::hidl_string(const std::string& text) : hidl_string(text.data(), text.size()) {}

hidl_string::hidl_string(const hidl_string& other) : hidl_string(other.mBuffer, other.mSize) {}

hidl_string::hidl_string(hidl_string&& other) noexcept { swap(other); }

hidl_string::~hidl_string() { setToExternal("", 0); }

hidl_string& hidl_string::operator=(hidl_string other) noexcept {
  swap(other);
  return *this;
}

void hidl_string::swap(hidl_string& other) noexcept {
  std::swap(mBuffer, other.mBuffer);
  std::swap(mSize, other.mSize);
  std::swap(mOwnsBuffer, other.mOwnsBuffer);
}

void hidl_string::setToExternal(const char* data, std::size_t size) {
  const std::uint32_t newSize = details::checkedSize(size);
  if (data[size] != '\0') {
    details::fail("hidl_string::setToExternal: no terminator at " + std::to_string(size));
  }
  if (mOwnsBuffer) {
    delete[] mBuffer;
  }
  mBuffer = data;
  mSize = newSize;
  mOwnsBuffer = false;
}

bool operator==(const hidl_string& left, const hidl_string& right) {
  return std::string_view(left.c_str(), left.size()) ==
         std::string_view(right.c_str(), right.size());
}

}  // namespace android::hardware
