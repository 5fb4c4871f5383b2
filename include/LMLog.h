#pragma once

#include <android/log.h>

#include <exception>

/**
 * @file
 * The form of the library's log lines: "component: function() line: message" at priority ERROR, the
 * only one in use. Messages are literals in printf's format.
 */

/** Logs a line of another form than the usual ones. */
#define LM_LOGE_RAW(tag, format, ...) \
  __android_log_print(ANDROID_LOG_ERROR, tag, format __VA_OPT__(, ) __VA_ARGS__)

/** Logs in the name of the function and line given. */
#define LM_LOGE_AS(tag, component, function, line, message, ...) \
  LM_LOGE_RAW(tag, "%s: %s() %d: " message, component, function, line __VA_OPT__(, ) __VA_ARGS__)

/** Logs as the enclosing function under the library's usual tag. */
#define LM_LOGE(component, message, ...)                          \
  LM_LOGE_AS(::lmsupport::kLogTag, component, __func__, __LINE__, \
             message __VA_OPT__(, ) __VA_ARGS__)

namespace lmsupport {

/** The library's usual tag. */
inline constexpr char kLogTag[] = "ANDR-PERF-LM";

/** Component names, the first word of a log line. @{ */
inline constexpr char kAsyncEventsMgr[] = "AsyncEventsMgr";
inline constexpr char kAsyncEventsMgrGfx[] = "AsyncEventsMgr_GFX";
inline constexpr char kAsyncEventsMgrThermal[] = "AsyncEventsMgr_Thermal";
inline constexpr char kCpPlhController[] = "CP_PLH_Controller";
inline constexpr char kDependentServices[] = "DependentServices";
inline constexpr char kFetchPreferredApps[] = "FetchPreferredApps";
inline constexpr char kStatsProvider[] = "StatsProvider";
/** @} */

/**
 * For a catch (...) block: logs the exception being handled in the name of the calling function.
 * Keeps exceptions of strings, containers and threads away from the library's callers.
 */
inline void logCaught(const char* component, const char* function = __builtin_FUNCTION(),
                      int line = __builtin_LINE()) noexcept {
  try {
    throw;
  } catch (const std::exception& e) {
    LM_LOGE_AS(kLogTag, component, function, line, "Caught Exception: %s in %s", e.what(),
               function);
  } catch (...) {
    LM_LOGE_AS(kLogTag, component, function, line, "Caught Exception in %s", function);
  }
}

}  // namespace lmsupport
