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

  /** Waits until a point in time; returns whether a signal has arrived, at once when one had before. */
  bool waitUntil(Clock::time_point end);

 private:
  sigset_t mSignals;
  sigset_t mPrevious;
  bool mArrived = false;
};

/** What is shown during long work, for a terminal of so many columns. */
using ProgressLines = std::function<std::vector<std::string>(std::size_t width)>;

/**
 * Waits for so many seconds, or without an end when these are 0, or until a signal. Meanwhile it redraws
 * lines in place on a terminal, with how to end it, and erases them afterwards; elsewhere it prints them
 * each second. Nothing is shown when lines is empty.
 */
void showProgress(const Console& console, StopSignals& signals, double seconds,
                  const ProgressLines& lines);
