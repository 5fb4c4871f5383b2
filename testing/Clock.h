#pragma once

#include <chrono>

using Clock = std::chrono::steady_clock;

inline Clock::duration fromSeconds(double seconds) {
  return std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
}

inline double toSeconds(Clock::duration duration) {
  return std::chrono::duration<double>(duration).count();
}

inline double toUs(Clock::duration duration) {
  return std::chrono::duration<double, std::micro>(duration).count();
}
