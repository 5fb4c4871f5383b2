#pragma once

#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <fstream>
#include <functional>
#include <future>
#include <mutex>
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

/** A function that runs on a thread of its own; destruction waits for its end. */
class BackgroundCall {
 public:
  explicit BackgroundCall(const std::function<void()>& function)
      : mEnd(std::async(std::launch::async, [this, function] {
          mThread = gettid();
          function();
        })) {}

  bool hasEnded() const {
    return mEnd.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
  }

  /** Returns true once it waits for this lock or condition, false if it ends instead. */
  template <typename Awaited>
  bool waitsFor(const Awaited& awaited) const {
    return waitsIn(reinterpret_cast<std::uintptr_t>(&awaited), sizeof(awaited));
  }

  /** The same for any lock, condition or thread. */
  bool fallsAsleep() const { return waitsIn(0, SIZE_MAX); }

 private:
  bool waitsIn(std::uintptr_t begin, std::size_t size) const {
    while (!hasEnded()) {
      const auto [call, address] = systemCallOf(mThread);
      if (call == SYS_futex && address - begin < size) {
        return true;
      }
    }
    return false;
  }

  std::atomic<pid_t> mThread = 0;
  const std::future<void> mEnd;
};

/** Whether function waits for lock while another thread holds it. */
inline bool waitsFor(std::mutex& lock, const std::function<void()>& function) {
  std::unique_lock held(lock);
  const BackgroundCall call(function);
  const bool waits = call.waitsFor(lock);
  held.unlock();  // so that the call can end
  return waits;
}
