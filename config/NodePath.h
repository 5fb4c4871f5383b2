#pragma once

#include <cstring>
#include <string>

#include "config/DynamicLoader.h"

namespace lmsupport {

/** The framework's store as it is now; null while there is none. */
inline ConfigStore* configStore() {
  return __atomic_load_n(&DynamicLoader::getInstance()->mStore, __ATOMIC_ACQUIRE);
}

/** The path that store has for item; empty for an unknown one. */
inline std::string nodePath(ConfigStore& store, int item) {
  char path[kConfigValueSize] = {};
  store.lookup(item, path);
  return {path, strnlen(path, sizeof(path))};
}

/** The path configured for item, looked up afresh; empty without a store or for an unknown item. */
inline std::string configuredNodePath(int item) {
  ConfigStore* const store = configStore();
  return store != nullptr ? nodePath(*store, item) : std::string();
}

}  // namespace lmsupport
