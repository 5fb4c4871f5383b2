#pragma once

#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdint>
#include <fstream>
#include <string>
#include <utility>

#include "testing/Clock.h"
#include "testing/Folders.h"

/** Waits until condition() is true. The test fails if that takes longer than limit. */
template <typename Condition>
void waitUntil(const Condition& condition, Clock::duration limit = std::chrono::seconds(10)) {
  const auto end = Clock::now() + limit;
  while (!condition()) {
    ASSERT_LT(Clock::now(), end);
    usleep(1000);
  }
}

/** The system call in which a thread of this process waits, and its first argument. */
inline std::pair<long, std::uintptr_t> systemCallOf(pid_t thread) {
  long call = -1;
  std::uintptr_t argument = 0;
  std::ifstream("/proc/self/task/" + std::to_string(thread) + "/syscall") >> call >> std::hex >>
      argument;
  return {call, argument};
}

/** The thread of this process that has that name; 0 if there is none. */
inline pid_t threadNamed(const std::string& name) {
  for (const std::string& task : namesIn("/proc/self/task")) {
    std::string taskName;
    std::ifstream("/proc/self/task/" + task + "/comm") >> taskName;
    if (taskName == name) {
      return std::stoi(task);
    }
  }
  return 0;
}

/** Whether the thread of that name waits for a lock or a condition. */
inline bool isAsleep(const std::string& name) {
  return systemCallOf(threadNamed(name)).first == SYS_futex;
}
