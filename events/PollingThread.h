#pragma once

#include <fcntl.h>
#include <pthread.h>

#include <new>
#include <string>
#include <thread>

#include <android-base/unique_fd.h>

#include "detail/LMLog.h"

/**
 * @file
 * What the sources' polling threads share.
 */
namespace lmsupport {

/**
 * A source's startThread: creates the polling thread unless it exists. When that fails, thread stays
 * null; a failure other than memory for the thread object is logged.
 *
 * @param name of the thread, for top -H and traces: up to 15 characters
 */
template <typename Source>
void startPollingThread(std::thread*& thread, Source* self, const char* name,
                        const LogSource& source, const char* function = __builtin_FUNCTION(),
                        int line = __builtin_LINE()) {
  if (thread != nullptr) {
    return;
  }
  try {
    thread = new (std::nothrow) std::thread([self, name] {
      pthread_setname_np(pthread_self(), name);
      Source::pollingThreadFunc(self);
    });
  } catch (...) {
    LM_LOGE_AS(source, function, line, "Thread Creation Failed");
  }
}

/**
 * Opens the node that a thread polls. A failure is logged in the name of the calling function; so is
 * descriptor 0, which counts as one and stays open.
 */
inline android::base::unique_fd openPolledNode(const std::string& path, const LogSource& source,
                                               const char* function = __builtin_FUNCTION(),
                                               int line = __builtin_LINE()) {
  // No O_CLOEXEC: programs that a client starts have always inherited the node, and must.
  const int fd = open(path.c_str(), O_RDONLY);
  if (fd < 1) {
    LM_LOGE_AS(source, function, line, "Not able to open (%s) fd(%d) \n", path.c_str(), fd);
    return {};
  }
  return android::base::unique_fd(fd);
}

/** Calls a source's active callbacks. The caller holds the lock of callbacks. */
template <typename Callbacks>
void callActive(const Callbacks& callbacks, int event, void* payload) {
  for (const auto& [cb, client] : callbacks) {
    const auto& [active, userData] = client;
    if (active) {
      cb(event, payload, 0, userData);
    }
  }
}

}  // namespace lmsupport
