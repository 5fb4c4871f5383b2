#pragma once

#include <benchmark/benchmark.h>
#include <linux/futex.h>
#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <thread>
#include <utility>
#include <vector>

#include "testing/Clock.h"
#include "testing/Distribution.h"

/** When the last event was received, in Clock ticks; 0 before. */
inline std::atomic<Clock::rep> gReceived;

/** What sleepers wait for to become 1: a futex, since Android's libc++ has no std::atomic::wait. */
inline std::atomic<std::uint32_t> gHasReceived;

inline void noteArrival() {
  gReceived = Clock::now().time_since_epoch().count();
  gHasReceived = 1;
  syscall(SYS_futex, &gHasReceived, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
}

/** Raises events until a receiver that was just started answers: it may not listen yet. */
inline void waitForReceiver(void (*raise)()) {
  gReceived = 0;
  while (gReceived == 0) {
    raise();
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

/** Raises an event, sleeps until the receiver saw it, and returns the time between. */
inline std::chrono::duration<double> raiseAndReceive(void (*raise)()) {
  gHasReceived = 0;
  const Clock::time_point begin = Clock::now();
  raise();
  while (gHasReceived == 0) {
    syscall(SYS_futex, &gHasReceived, FUTEX_WAIT_PRIVATE, 0, nullptr, nullptr, 0);
  }
  return Clock::duration(gReceived) - begin.time_since_epoch();
}

/** Keeps the calling thread, and those it starts from now on, on one processor. */
inline void stayOnOneProcessor() {
  cpu_set_t set;
  CPU_ZERO(&set);
  CPU_SET(0, &set);
  sched_setaffinity(0, sizeof(set), &set);
}

/**
 * Raiser and receiver share a processor: waking a second one from its idle state takes many times
 * longer than all that is measured here, and never equally long.
 */
template <typename Receiver>
void latency(benchmark::State& state, void (*raise)()) {
  stayOnOneProcessor();
  Receiver receiver;
  waitForReceiver(raise);
  std::vector<double> latenciesUs;
  for (auto _ : state) {
    const auto latency = raiseAndReceive(raise);
    state.SetIterationTime(latency.count());
    latenciesUs.push_back(latency.count() * 1e6);
  }
  const Distribution distribution(std::move(latenciesUs), kMicroseconds);
  state.counters["p50_us"] = distribution.median();
  state.counters["p99_us"] = distribution.percentile(0.99);
}

inline void latencyRuns(benchmark::internal::Benchmark* benchmark) {
  benchmark->UseManualTime()->Iterations(5000)->Repetitions(9)->Unit(benchmark::kMicrosecond);
}
