#pragma once

#include <android/log.h>

#include <exception>

/**
 * @file
 * The form of the library's log lines: "component: function() line: message" at priority ERROR, the
 * only one in use. Messages are literals in printf's format.
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

/** Where a log line comes from: its tag, and the component that is its first word. */
struct LogSource {
  const char* tag;
  const char* component;
};

/** The library's log sources. @{ */
inline constexpr LogSource kAsyncEventsMgr = {"ANDR-PERF-LM", "AsyncEventsMgr"};
inline constexpr LogSource kAsyncEventsMgrGfx = {"ANDR-PERF-LM", "AsyncEventsMgr_GFX"};
inline constexpr LogSource kAsyncEventsMgrThermal = {"ANDR-PERF-LM", "AsyncEventsMgr_Thermal"};
inline constexpr LogSource kCpPlhController = {"ANDR-PERF-LM", "CP_PLH_Controller"};
inline constexpr LogSource kDependentServices = {"ANDR-PERF-LM", "DependentServices"};
inline constexpr LogSource kFetchPreferredApps = {"ANDR-PERF-LM", "FetchPreferredApps"};
inline constexpr LogSource kLmdb = {"ANDR-PERF", "LMDB"};
inline constexpr LogSource kStatsProvider = {"ANDR-PERF-LM", "StatsProvider"};
/** @} */

/** How an operation words the exceptions that it catches: formats of whole log lines. */
struct CaughtWording {
  const char* standard;  ///< of a std::exception; may show its text and then the function
  const char* other;     ///< of anything else; may show the function
};

/** How most of them do. */
inline constexpr CaughtWording kUsualWording = {LM_LOG_PREFIX "Caught Exception: %s in %s",
                                                LM_LOG_PREFIX "Caught Exception in %s"};

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"  // the wordings are constants
/**
 * Returns what body() returns; when it throws, logs the exception in the name of the calling
 * function and returns failure. This keeps exceptions of strings, containers and threads away from
 * the library's callers.
 */
template <typename Result, typename Body>
Result guard(const LogSource& source, const CaughtWording& wording, Result failure, Body body,
             const char* function = __builtin_FUNCTION(), int line = __builtin_LINE()) noexcept {
  try {
    return body();
  } catch (const std::exception& e) {
    __android_log_print(ANDROID_LOG_ERROR, source.tag, wording.standard, source.component, function,
                        line, e.what(), function);
  } catch (...) {
    __android_log_print(ANDROID_LOG_ERROR, source.tag, wording.other, source.component, function,
                        line, function);
  }
  return failure;
}
#pragma GCC diagnostic pop

/** The same for a body without a result. */
template <typename Body>
void guard(const LogSource& source, const CaughtWording& wording, Body body,
           const char* function = __builtin_FUNCTION(), int line = __builtin_LINE()) noexcept {
  guard(
      source, wording, false,
      [&] {
        body();
        return true;
      },
      function, line);
}

}  // namespace lmsupport
