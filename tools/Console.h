#pragma once

#include <android/log.h>

#include <cstddef>
#include <iosfwd>
#include <stdexcept>
#include <string>

#include <android-base/scopeguard.h>

/** Sets text off with colour where that is wanted, and leaves it alone elsewhere. */
struct Style {
  bool color = false;

  std::string bold(const std::string& text) const { return apply("1", text); }
  std::string good(const std::string& text) const { return apply("32", text); }
  std::string warning(const std::string& text) const { return apply("33", text); }
  std::string error(const std::string& text) const { return apply("31", text); }

 private:
  std::string apply(const char* code, const std::string& text) const;
};

struct TerminalSize {
  std::size_t columns = 80;
  std::size_t rows = 24;
};

/** Where a command writes: results to out, one-line errors to err. */
struct Console {
  std::ostream& out;
  std::ostream& err;
  bool live;          ///< out is a terminal, on which lines may be redrawn in place
  int terminal = -1;  ///< its file
  Style style{};      ///< of out
  Style errStyle{};

  /** err, on which the beginning of a line with an error was written. */
  std::ostream& beginError(const std::string& command = "lmctl") const;

  /** The same for what is worth knowing, but no failure. */
  std::ostream& beginNote() const;

  /** The terminal's size as it is now. */
  TerminalSize size() const;
};

/** The process's own: standard output and error, with what the terminal and environment allow. */
Console standardConsole();

/** Whether file is a terminal that can do more than show plain lines. */
bool isCapableTerminal(int file);

/** Whether it may show colour, too; not where NO_COLOR is set to something. */
bool mayColor(int file);

/** Keeps this process's log quiet while the result lives: where failures are told otherwise. */
inline auto quietLog() {
  const int priority = __android_log_set_minimum_priority(ANDROID_LOG_SILENT);
  return android::base::make_scope_guard([=] { __android_log_set_minimum_priority(priority); });
}

/** Exit statuses of lmctl. */
enum ExitStatus : int { kSuccess = 0, kFailure = 1, kUsage = 2 };

/** Thrown by a command whose options do not fit together. */
struct UsageError : std::runtime_error {
  using runtime_error::runtime_error;
};
