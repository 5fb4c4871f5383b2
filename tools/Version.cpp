#include "Version.h"

#include <dlfcn.h>

#include <filesystem>

#include "StatsProvider.h"
#include "config/DynamicLoader.h"

namespace {

/** The file of the loaded object that address is in. */
std::string objectFile(const void* address) {
  Dl_info info = {};
  if (dladdr(address, &info) == 0) {
    return "unknown";
  }
  std::error_code ignored;
  const auto file = std::filesystem::canonical(info.dli_fname, ignored);
  return file.empty() ? info.dli_fname : file.string();
}

template <typename Function>
std::string objectFile(Function* function) {
  return objectFile(reinterpret_cast<const void*>(function));
}

}  // namespace

std::string coreLibraryFile() { return objectFile(DynamicLoader::getInstance); }

std::string versionText() {
  return "lmctl " LMSUPPORT_VERSION "\nlibrary       " + objectFile(stats_parser) +
         "\ncore library  " + coreLibraryFile();
}
