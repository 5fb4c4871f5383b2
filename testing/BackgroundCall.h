#pragma once

#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <future>
#include <mutex>

#include "testing/SystemCallOf.h"

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

  /** Returns true once it waits for a lock or condition, false when it ends instead. */
  bool fallsAsleep() const {
    while (!hasEnded()) {
      if (mThread != 0 && systemCallOf(mThread) == SYS_futex) {
        return true;
      }
    }
    return false;
  }

 private:
  std::atomic<pid_t> mThread = 0;
  const std::future<void> mEnd;
};

/** Whether function waits for lock when another thread has it. */
inline bool waitsFor(std::mutex& lock, const std::function<void()>& function) {
  std::unique_lock held(lock);
  const BackgroundCall call(function);
  const bool waits = call.fallsAsleep();
  held.unlock();  // so that it can end
  return waits;
}
