#include "Allocations.h"

#include <malloc.h>

#include <cstdlib>
#include <new>

[[gnu::noinline]] void* operator new(std::size_t size) {
  void* const memory = malloc(size);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  ++gAllocations;
  gHeapBytes += malloc_usable_size(memory);
  return memory;
}

[[gnu::noinline]] void operator delete(void* memory) noexcept {
  gHeapBytes -= malloc_usable_size(memory);
  free(memory);
}

[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept {
  operator delete(memory);
}
