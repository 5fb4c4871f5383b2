#pragma once

#include <new>
#include <thread>

#include "detail/LMLog.h"

namespace lmsupport {

/**
 * A source's startThread: creates the polling thread unless it exists. When that fails, thread stays
 * null; a failure other than memory for the thread object is logged.
 */
template <typename Source>
void startPollingThread(std::thread*& thread, Source* self, const LogSource& source,
                        const char* function = __builtin_FUNCTION(), int line = __builtin_LINE()) {
  if (thread != nullptr) {
    return;
  }
  try {
    thread = new (std::nothrow) std::thread(Source::pollingThreadFunc, self);
  } catch (...) {
    LM_LOGE_AS(source, function, line, "Thread Creation Failed");
  }
}

}  // namespace lmsupport
