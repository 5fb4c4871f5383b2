#pragma once

#include <csignal>
#include <functional>
#include <string>
#include <vector>

#include "Console.h"
#include "LiveBlock.h"
#include "testing/Clock.h"

/**
 * Keeps SIGINT, SIGTERM and SIGPIPE from ending the process while it lives; Progress reads them
 * instead. To be made before the threads that inherit the mask. A second SIGPIPE, of output after
 * the work, ends the process when the object goes: what has to be saved, is by then.
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

/** The same for a terminal: lines no wider than Screen::width(). */
using ProgressBlock = std::function<std::vector<std::string>(const Screen&)>;

/**
 * Waits until a point in time or a signal, and shows block() meanwhile, redrawn in place on a
 * terminal, or line() when there is no block; otherwise line() as a plain line each second. Nothing
 * is shown when line is empty. Returns whether it was a signal.
 */
bool showProgress(Console& console, const StopSignals& signals, Clock::time_point end,
                  const ProgressLine& line, const ProgressBlock& block = {});

/** Shows the progress of work that does not wait, on a terminal. */
class WorkProgress {
 public:
  WorkProgress(const Console& console, const StopSignals& signals);
  ~WorkProgress() { erase(); }
  WorkProgress(const WorkProgress&) = delete;
  WorkProgress& operator=(const WorkProgress&) = delete;

  /** Shows line() if it is time to; returns whether to go on, since no signal arrived. */
  bool update(const ProgressLine& line);

  void erase();

 private:
  const Console& mConsole;
  const StopSignals& mSignals;
  LiveBlock mBlock;
  Clock::time_point mNext;
};
