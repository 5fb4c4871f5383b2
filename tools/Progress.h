#pragma once

#include <csignal>
#include <functional>
#include <string>

#include "Console.h"
#include "EventRecorder.h"

/**
 * Keeps SIGINT and SIGTERM from ending the process while it lives; Progress reads them instead. To
 * be made before the threads that inherit the mask.
 */
class StopSignals {
 public:
  StopSignals();
  ~StopSignals();
  StopSignals(const StopSignals&) = delete;
  StopSignals& operator=(const StopSignals&) = delete;

  /** Waits; returns whether a signal arrived within limit. */
  bool wait(Clock::duration limit) const;

 private:
  sigset_t mSignals;
  sigset_t mPrevious;
};

/** What is shown during long work, one line. */
using ProgressLine = std::function<std::string()>;

/**
 * Waits until a point in time or a signal, and shows line() meanwhile: redrawn in place on a
 * terminal, otherwise as a plain line each second. Nothing is shown when line is empty.
 */
void showProgress(Console& console, const StopSignals& signals, Clock::time_point end,
                  const ProgressLine& line);
