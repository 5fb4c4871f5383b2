#pragma once

#include <functional>
#include <string>

#include "testing/Clock.h"
#include "watch/Recording.h"

/** How lmctl makes events of its own. */
struct Sample {
  static constexpr int kRateHz = 60;
  static constexpr Clock::duration kPeriod = std::chrono::nanoseconds(1'000'000'000 / kRateHz);

  std::string node;

  /** Makes the event of a refresh, counted from 0; returns whether there is one. */
  std::function<bool(long long refresh)> make;
};

/**
 * Notifies the host name node, as a display does a vsync node, or writes frames to a FIFO. Throws
 * std::system_error when a namespace is refused, and std::runtime_error without a FIFO.
 */
Sample makeSample(const EventKind& kind);
