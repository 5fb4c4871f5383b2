// A plugin of a process may bring the library in, start a source and be unloaded: the source's thread
// then still runs the library's code. Links nothing of the library, which would keep it loaded.
// Usage: unload_test LIBRARY

#include <dlfcn.h>
#include <unistd.h>

#include <cstdio>

using Callback = void (*)(int, void*, int, void*);

static void ignore(int, void*, int, void*) {}

template <typename Function>
static Function find(void* library, const char* name) {
  void* const found = dlsym(library, name);
  if (found == nullptr) {
    std::fprintf(stderr, "unload_test: %s\n", dlerror());
    _exit(2);
  }
  return reinterpret_cast<Function>(found);
}

int main(int, char** arguments) {
  void* const library = dlopen(arguments[1], RTLD_NOW);
  if (library == nullptr) {
    std::fprintf(stderr, "unload_test: %s\n", dlerror());
    return 2;
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
    std::fprintf(stderr, "unload_test: the library is unloaded below its thread\n");
    _exit(1);
  }
  _exit(0);  // as advised to a program that started a source
}
