#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <string_view>

#include <android-base/unique_fd.h>

namespace lmsupport {

/**
 * Writes text to the kernel node or file at path, which is created or truncated. Returns whether it
 * could be opened; whether the write went well is not told.
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
