#pragma once

#include <android/log.h>

#include <exception>

namespace lmsupport {

/** Tag of every log line. */
inline constexpr char kLogTag[] = "ANDR-PERF-LM";

/** Component names, the first word of a log line. */
inline constexpr char kAsyncEventsMgr[] = "AsyncEventsMgr";

}  // namespace lmsupport

/** Logs "component: function() line: message" at priority ERROR on behalf of function. */
#define LM_LOGE_AS(component, function, line, message, ...)                                        \
  __android_log_print(ANDROID_LOG_ERROR, ::lmsupport::kLogTag, "%s: %s() %d: " message, component, \
                      function, line __VA_OPT__(, ) __VA_ARGS__)

/** Logs a printf-style message, a literal, as the enclosing function. */
#define LM_LOGE(component, message, ...) \
  LM_LOGE_AS(component, __func__, __LINE__, message __VA_OPT__(, ) __VA_ARGS__)

namespace lmsupport {

/**
 * For a catch (...) block: logs the exception being handled in the name of the calling function.
 * Keeps exceptions of strings, containers and threads away from the library's callers.
 */
inline void logCaught(const char* component, const char* function = __builtin_FUNCTION(),
                      int line = __builtin_LINE()) noexcept {
  try {
    throw;
  } catch (const std::exception& e) {
    LM_LOGE_AS(component, function, line, "Caught Exception: %s in %s", e.what(), function);
  } catch (...) {
    LM_LOGE_AS(component, function, line, "Caught Exception in %s", function);
  }
}

}  // namespace lmsupport
