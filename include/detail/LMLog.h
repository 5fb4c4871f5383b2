#pragma once

#include <android/log.h>

#include "LMGuard.h"

/**
 * @file
 * The form of the library's log lines: "component: function() line: message" at priority ERROR, the
 * only one in use. Messages are literals in printf's format. Only the library's sources include this:
 * its macros are nothing for a client.
 */

/** What a log line begins with. */
#define LM_LOG_PREFIX "%s: %s() %d: "

/** Logs a line of another form than the usual one. */
#define LM_LOGE_RAW(tag, format, ...) \
  __android_log_print(ANDROID_LOG_ERROR, tag, format __VA_OPT__(, ) __VA_ARGS__)

/** Logs in the name of the function and line given: a private step in that of the operation. */
#define LM_LOGE_AS(source, function, line, message, ...)                         \
  LM_LOGE_RAW((source).tag, LM_LOG_PREFIX message, (source).component, function, \
              line __VA_OPT__(, ) __VA_ARGS__)

/** Logs in the name of the enclosing function, which must not be a lambda. */
#define LM_LOGE(source, message, ...) \
  LM_LOGE_AS(source, __func__, __LINE__, message __VA_OPT__(, ) __VA_ARGS__)

namespace lmsupport {

/** The library's log sources. @{ */
inline constexpr LogSource kAsyncEventsMgr = {"ANDR-PERF-LM", "AsyncEventsMgr"};
inline constexpr LogSource kAsyncEventsMgrGfx = {"ANDR-PERF-LM", "AsyncEventsMgr_GFX"};
inline constexpr LogSource kAsyncEventsMgrThermal = {"ANDR-PERF-LM", "AsyncEventsMgr_Thermal"};
inline constexpr LogSource kCpPlhController = {"ANDR-PERF-LM", "CP_PLH_Controller"};
inline constexpr LogSource kDependentServices = {"ANDR-PERF-LM", "DependentServices"};
inline constexpr LogSource kFetchPreferredApps = {"ANDR-PERF-LM", "FetchPreferredApps"};
inline constexpr LogSource kStatsProvider = {"ANDR-PERF-LM", "StatsProvider"};
/** @} */

/** How most operations word the exceptions that they catch. */
inline constexpr CaughtWording kUsualWording = {LM_LOG_PREFIX "Caught Exception: %s in %s",
                                                LM_LOG_PREFIX "Caught Exception in %s"};

}  // namespace lmsupport
