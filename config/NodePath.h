#pragma once

#include <cstring>
#include <string>

#include "config/DynamicLoader.h"

namespace lmsupport {

/** The path configured for item, looked up afresh; empty without a store or for an unknown item. */
inline std::string configuredNodePath(int item) {
  char path[kConfigValueSize] = {};
  ConfigStore* const store =
      __atomic_load_n(&DynamicLoader::getInstance()->mStore, __ATOMIC_ACQUIRE);
  if (store != nullptr) {
    store->lookup(item, path);
  }
  return {path, strnlen(path, sizeof(path))};
}

}  // namespace lmsupport
