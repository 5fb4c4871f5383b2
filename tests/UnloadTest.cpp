// A plugin may load the library, start a source and be unloaded, but the library must stay: the source's
// thread still runs its code. This program does not link the library, because that would keep it loaded.
// Usage: unload_test LIBRARY

#include <dlfcn.h>
#include <unistd.h>

#include <cstdio>

using Callback = void (*)(int, void*, int, void*);

static void ignore(int, void*, int, void*) {}

/** Returns found; if it is null, ends the program. */
static void* require(void* found, const char* what) {
  if (found == nullptr) {
    std::fprintf(stderr, "unload_test: there is no %s\n", what);
    _exit(1);
  }
  return found;
}

template <typename Function>
static Function find(void* library, const char* name) {
  return reinterpret_cast<Function>(require(dlsym(library, name), name));
}

int main(int, char** arguments) {
  void* const library = require(dlopen(arguments[1], RTLD_NOW), arguments[1]);
  const auto getInstance = find<void* (*)()>(library, "_ZN12ThermalEvent11getInstanceEv");
  const auto registerCallBack = find<int (*)(void*, Callback, void*)>(
      library, "_ZN10AsyncEvent16registerCallBackEPFviPviS0_ES0_");
  const auto startEvent =
      find<void (*)(void*, Callback)>(library, "_ZN10AsyncEvent10startEventEPFviPviS0_E");
  void* const source = getInstance();
  registerCallBack(source, ignore, nullptr);
  startEvent(source, ignore);
  dlclose(library);
  require(dlopen(arguments[1], RTLD_NOW | RTLD_NOLOAD), "library while its thread runs");
  _exit(0);  // as advised to a program that started a source
}
