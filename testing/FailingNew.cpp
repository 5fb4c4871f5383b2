#include "testing/FailingNew.h"

#include <cstdlib>
#include <new>

namespace {

bool isLast(int& countdown) { return countdown > 0 && --countdown == 0; }

void release(void* memory) {
  const void* freed = memory;
  failingnew::gUnfreed.compare_exchange_strong(freed, nullptr);
  free(memory);
}

}  // namespace

void* operator new(std::size_t size) {
  void* const memory = isLast(failingnew::gThrowing) ? nullptr : malloc(size);
  return memory != nullptr ? memory : throw std::bad_alloc();
}

void* operator new[](std::size_t size) { return operator new(size); }

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return isLast(failingnew::gNothrow) ? nullptr : malloc(size);
}

void operator delete(void* memory) noexcept { release(memory); }
void operator delete(void* memory, std::size_t) noexcept { release(memory); }
void operator delete[](void* memory) noexcept { release(memory); }
void operator delete[](void* memory, std::size_t) noexcept { release(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { release(memory); }
