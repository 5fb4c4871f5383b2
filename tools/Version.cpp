#include "Version.h"

#include <dlfcn.h>

#include <filesystem>

#include "StatsProvider.h"
#include "config/DynamicLoader.h"

namespace {

/** The file of the loaded object that address is in. */
std::string fileOf(const void* address) {
  Dl_info info = {};
  if (dladdr(address, &info) == 0) {
    return "unknown";
  }
  std::error_code ignored;
  const auto file = std::filesystem::canonical(info.dli_fname, ignored);
  return file.empty() ? info.dli_fname : file.string();
}

template <typename Function>
std::string fileOf(Function* function) {
  return fileOf(reinterpret_cast<const void*>(function));
}

}  // namespace

std::string coreLibraryFile() { return fileOf(DynamicLoader::getInstance); }

std::string versionText() {
  return "lmctl " LMSUPPORT_VERSION "\nlibrary       " + fileOf(stats_parser) + "\ncore library  " +
         coreLibraryFile();
}
