// A plugin may load the library, start a source and be unloaded, but the library must stay: the source's
// thread still runs its code. This program does not link the library, because that would keep it loaded.
// Usage: unload_test LIBRARY

#include <dlfcn.h>
#include <unistd.h>

#include <cstdio>

using Callback = void (*)(int, void*, int, void*);

static void ignore(int, void*, int, void*) {}

[[noreturn]] static void fail(const char* reason) {
  std::fprintf(stderr, "unload_test: %s\n", reason);
  _exit(1);
}

template <typename Function>
static Function find(void* library, const char* name) {
  void* const found = dlsym(library, name);
  if (found == nullptr) {
    fail(dlerror());
  }
  return reinterpret_cast<Function>(found);
}

int main(int, char** arguments) {
  void* const library = dlopen(arguments[1], RTLD_NOW);
  if (library == nullptr) {
    fail(dlerror());
  }
  const auto getInstance = find<void* (*)()>(library, "_ZN12ThermalEvent11getInstanceEv");
  const auto registerCallBack = find<int (*)(void*, Callback, void*)>(
      library, "_ZN10AsyncEvent16registerCallBackEPFviPviS0_ES0_");
  const auto startEvent =
      find<void (*)(void*, Callback)>(library, "_ZN10AsyncEvent10startEventEPFviPviS0_E");
  void* const source = getInstance();
  registerCallBack(source, ignore, nullptr);
  startEvent(source, ignore);
  dlclose(library);
  if (dlopen(arguments[1], RTLD_NOW | RTLD_NOLOAD) == nullptr) {
    fail("the library is unloaded while its thread runs");
  }
  _exit(0);  // as advised to a program that started a source
}
