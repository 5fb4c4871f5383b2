#pragma once

#include <malloc.h>

#include <filesystem>
#include <iterator>

/** What the process holds at one time. */
struct Resources {
  static Resources now() {
    const auto entries = [](const char* folder) {
      return std::distance(std::filesystem::directory_iterator(folder), {});
    };
    return {entries("/proc/self/fd"), entries("/proc/self/task"), mallinfo2().uordblks};
  }

  std::ptrdiff_t descriptors;
  std::ptrdiff_t threads;
  std::size_t heapBytes;  ///< 0 under a sanitizer
};
