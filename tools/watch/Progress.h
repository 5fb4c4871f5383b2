#pragma once

#include <csignal>
#include <functional>
#include <string>
#include <vector>

#include "Console.h"
#include "testing/Clock.h"

/**
 * Keeps the signals that ask a process to end (SIGINT, SIGTERM, SIGHUP, SIGPIPE) from ending it while
 * this lives, so that it can finish its work; waitUntil() reads them instead. Those that the caller had
 * ignored, as nohup does SIGHUP, stay ignored. To be made before the threads that inherit the mask. A
 * second SIGPIPE, of output after the work, ends the process when this goes: what has to be saved is
 * saved by then.
 */
class StopSignals {
 public:
  StopSignals();
  ~StopSignals();
  StopSignals(const StopSignals&) = delete;
  StopSignals& operator=(const StopSignals&) = delete;

  /** Waits until a point in time; returns whether a signal arrived before. */
  bool waitUntil(Clock::time_point end) const;

 private:
  sigset_t mSignals;
  sigset_t mPrevious;
};

/** When work that takes so long ends; never when seconds is 0. */
inline Clock::time_point endAfter(double seconds, Clock::time_point begin) {
  return seconds > 0 ? begin + fromSeconds(seconds) : Clock::time_point::max();
}

/** What is shown during long work, at least one line, for a terminal of so many columns. */
using ProgressLines = std::function<std::vector<std::string>(std::size_t width)>;

/**
 * Waits until a point in time or a signal; returns whether it was a signal. Meanwhile it redraws lines
 * in place on a terminal, with how to end it, and erases them afterwards; elsewhere it prints the first
 * one each second. Nothing is shown when lines is empty.
 */
bool showProgress(Console& console, const StopSignals& signals, Clock::time_point end,
                  const ProgressLines& lines);
