#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <string>
#include <string_view>

#include <android-base/unique_fd.h>

#include "config/DynamicLoader.h"

/**
 * @file
 * The kernel's nodes: where they are, and how they are written.
 */

/** The kernel's list of the foreground's tasks, where Android keeps it. */
inline constexpr char kForegroundTasks[] = "/dev/cpuset/top-app/tasks";

namespace lmsupport {

/** What a store tells of an item. */
struct NodePath {
  bool known = false;                    ///< whether the store has the item
  char text[kConfigValueSize + 1] = {};  ///< a byte more: terminated whatever the store writes
};

/** The framework's store as it is now; null while there is none. */
inline ConfigStore* configStore() {
  return __atomic_load_n(&DynamicLoader::getInstance()->mStore, __ATOMIC_ACQUIRE);
}

/** Looks item up in store. */
inline NodePath nodePath(ConfigStore& store, int item) {
  NodePath path;
  path.known = store.lookup(item, path.text) == 0;
  return path;
}

/**
 * The path configured for item, looked up afresh: what the store leaves there, which for an unknown
 * item mostly is nothing. Empty without a store.
 */
inline std::string configuredNodePath(int item) {
  ConfigStore* const store = configStore();
  return store != nullptr ? nodePath(*store, item).text : "";
}

/**
 * Writes text to the node or file at path, which is created or truncated. Returns whether it could
 * be opened; whether the write went well is not told.
 */
inline bool writeNode(const char* path, std::string_view text) {
  const android::base::unique_fd node(open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
  while (node.ok() && !text.empty()) {
    const ssize_t written = TEMP_FAILURE_RETRY(write(node.get(), text.data(), text.size()));
    if (written <= 0) {
      break;
    }
    text.remove_prefix(static_cast<std::size_t>(written));
  }
  return node.ok();
}

}  // namespace lmsupport
