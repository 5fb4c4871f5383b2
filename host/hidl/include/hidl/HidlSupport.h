#pragma once

#include <utils/Errors.h>
#include <utils/RefBase.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <iterator>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

/**
 * The host's stand-in of the platform's libhidlbase, in one process: the types that the headers of
 * hidl-gen and their users need, with the platform's names, layout and ownership rules, and nothing
 * else of it.
 */

#pragma GCC visibility push(default)

namespace android::hidl::base::V1_0 {
struct IBase;
}

namespace android::hardware {

namespace details {

struct i_tag {};

/** Logs the text as fatal and aborts. */
[[noreturn]] void fail(const std::string& text);

/** Aborts for more elements than the 32 bits of a HIDL size can count. */
std::uint32_t checkedSize(std::size_t size);

std::string toHexString(std::uint64_t value);

/** hidl-gen specializes it for each enumeration. */
template <typename Enum>
constexpr std::array<Enum, 0> hidl_enum_values = {};

}  // namespace details

template <typename Enum>
using hidl_bitfield = std::underlying_type_t<Enum>;

/** Is told of the death of a process whose service it was linked to. */
struct hidl_death_recipient : public virtual RefBase {
  virtual void serviceDied(std::uint64_t cookie, const wp<hidl::base::V1_0::IBase>& who) = 0;
};

/**
 * A text that owns its characters, or borrows them after setToExternal(). A copy always owns its
 * own; what was moved from is empty.
 */
class hidl_string {
 public:
  hidl_string() = default;
  hidl_string(const char* text);  // empty for null
  hidl_string(const char* text, std::size_t size);
  hidl_string(const std::string& text);
  hidl_string(const hidl_string& other);
  hidl_string(hidl_string&& other) noexcept;
  ~hidl_string();

  hidl_string& operator=(hidl_string other) noexcept;

  operator std::string() const { return {mBuffer, mSize}; }

  const char* c_str() const { return mBuffer; }
  std::size_t size() const { return mSize; }
  bool empty() const { return mSize == 0; }
  void clear() { *this = hidl_string(); }

  /** Borrows data, which must stay valid meanwhile. A terminator must follow it, not counted by size. */
  void setToExternal(const char* data, std::size_t size);

 private:
  void swap(hidl_string& other) noexcept;

  const char* mBuffer = "";
  std::uint32_t mSize = 0;
  bool mOwnsBuffer = false;
};

static_assert(sizeof(hidl_string) == 16);

bool operator==(const hidl_string& left, const hidl_string& right);

/**
 * An array of elements that it owns, or borrows after setToExternal(). A copy always owns its own;
 * what was moved from is empty.
 */
template <typename T>
class hidl_vec {
 public:
  using value_type = T;
  using iterator = T*;
  using const_iterator = const T*;

  hidl_vec() = default;
  hidl_vec(const hidl_vec& other) : hidl_vec(other.begin(), other.end()) {}
  hidl_vec(hidl_vec&& other) noexcept { swap(other); }
  hidl_vec(const std::vector<T>& other) : hidl_vec(other.begin(), other.end()) {}
  hidl_vec(std::initializer_list<T> list) : hidl_vec(list.begin(), list.end()) {}
  template <typename Iterator, typename = typename std::iterator_traits<Iterator>::value_type>
  hidl_vec(Iterator first, Iterator last) : hidl_vec() {
    resize(static_cast<std::size_t>(std::distance(first, last)));
    std::copy(first, last, mBuffer);
  }
  ~hidl_vec() { setToExternal(nullptr, 0); }

  hidl_vec& operator=(hidl_vec other) noexcept {
    swap(other);
    return *this;
  }

  operator std::vector<T>() const { return {begin(), end()}; }

  std::size_t size() const { return mSize; }
  T* data() { return mBuffer; }
  const T* data() const { return mBuffer; }
  T& operator[](std::size_t index) { return mBuffer[index]; }
  const T& operator[](std::size_t index) const { return mBuffer[index]; }
  iterator begin() { return mBuffer; }
  iterator end() { return mBuffer + mSize; }
  const_iterator begin() const { return mBuffer; }
  const_iterator end() const { return mBuffer + mSize; }

  /** Owns its elements afterwards; new ones are value-initialized. */
  void resize(std::size_t size) {
    std::unique_ptr<T[]> buffer(new T[details::checkedSize(size)]());
    std::copy_n(mBuffer, std::min<std::size_t>(size, mSize), buffer.get());
    setToExternal(buffer.release(), size, true);
  }

  /** Borrows data, which must stay valid meanwhile; with shouldOwn it takes over what new[] gave. */
  void setToExternal(T* data, std::size_t size, bool shouldOwn = false) {
    const std::uint32_t newSize = details::checkedSize(size);
    if (mOwnsBuffer) {
      delete[] mBuffer;
    }
    mBuffer = data;
    mSize = newSize;
    mOwnsBuffer = shouldOwn;
  }

  friend bool operator==(const hidl_vec& left, const hidl_vec& right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end());
  }

 private:
  void swap(hidl_vec& other) noexcept {
    std::swap(mBuffer, other.mBuffer);
    std::swap(mSize, other.mSize);
    std::swap(mOwnsBuffer, other.mOwnsBuffer);
  }

  T* mBuffer = nullptr;
  std::uint32_t mSize = 0;
  bool mOwnsBuffer = false;
};

static_assert(sizeof(hidl_vec<char>) == 16);

inline std::string toString(const hidl_string& text) { return '"' + std::string(text) + '"'; }

template <typename T, typename = std::enable_if_t<std::is_arithmetic_v<T>>>
std::string toString(T value) {
  return std::to_string(value);
}

}  // namespace android::hardware

#pragma GCC visibility pop
