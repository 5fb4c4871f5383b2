#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>
#include <type_traits>

/** Writes function's result to the descriptor and ends the process. */
template <typename Result>
[[noreturn]] void runAndExit(Result (*function)(), int descriptor) {
  try {
    const Result result = function();
    _exit(write(descriptor, &result, sizeof(result)) == sizeof(result) ? EXIT_SUCCESS
                                                                       : EXIT_FAILURE);
  } catch (const std::exception&) {
    _exit(EXIT_FAILURE);
  }
}

/**
 * Runs function in a child process and returns its result. Throws std::runtime_error when the child
 * brings none.
 */
template <typename Result>
Result runInChild(Result (*function)()) {
  static_assert(std::is_trivially_copyable_v<Result>, "it is passed on as bytes");
  int ends[2];
  if (pipe(ends) != 0) {
    throw std::runtime_error("cannot make a pipe");
  }
  const pid_t process = fork();
  if (process == 0) {
    runAndExit(function, ends[1]);
  }
  close(ends[1]);
  Result result = {};
  const bool complete = process > 0 && read(ends[0], &result, sizeof(result)) == sizeof(result);
  close(ends[0]);
  if (process > 0) {
    waitpid(process, nullptr, 0);
  }
  if (!complete) {
    throw std::runtime_error("a child process ended early");
  }
  return result;
}
