#pragma once

#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <future>
#include <mutex>

#include "testing/Threads.h"

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

  /** Returns true once it waits for this lock or condition; false if it ends, or after 10 s. */
  template <typename Awaited>
  bool waitsFor(const Awaited& awaited) const {
    return waitsIn(reinterpret_cast<std::uintptr_t>(&awaited), sizeof(awaited));
  }

  /** The same for any lock, condition or thread. */
  bool fallsAsleep() const { return waitsIn(0, SIZE_MAX); }

 private:
  bool waitsIn(std::uintptr_t begin, std::size_t size) const {
    const auto end = Clock::now() + std::chrono::seconds(10);
    while (!hasEnded() && Clock::now() < end) {
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
