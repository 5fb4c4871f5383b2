#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>

#include <fstream>
#include <string>

#include "testing/Clock.h"

/** Waits until a thread of this process waits in that system call. */
inline void waitUntilIn(long call, pid_t thread) {
  const auto path = "/proc/self/task/" + std::to_string(thread) + "/syscall";
  const auto end = Clock::now() + std::chrono::seconds(10);
  for (long number = -1; number != call; std::ifstream(path) >> number) {
    ASSERT_LT(Clock::now(), end) << "it does not go to sleep";
  }
}
