#pragma once

#include <android/log.h>

#include <exception>

/**
 * @file
 * How exceptions end: in a log line and a failure value, never at the library's callers.
 */

namespace lmsupport {

/** Where a log line comes from: its tag, and the component that is its first word. */
struct LogSource {
  const char* tag;
  const char* component;
};

/**
 * How an operation words the exceptions that it catches: formats of whole log lines, which begin
 * with the component, the function and the line.
 */
struct CaughtWording {
  const char* standard;  ///< of a std::exception; may show its text and then the function
  const char* other;     ///< of anything else; may show the function
};

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
