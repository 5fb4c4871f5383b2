#pragma once

#include <optional>
#include <string>
#include <vector>

#include "FrameTimes.h"
#include "Rows.h"
#include "VsyncTimes.h"

/** The time in which something was watched, and where. */
struct WatchedNode {
  std::string path;
  Clock::time_point begin;
  Clock::time_point end;
};

/** What a report is made from; what was not watched is not there. */
struct Watched {
  struct Vsyncs : WatchedNode {
    VsyncTimes times;
  };
  struct Frames : WatchedNode {
    FrameTimes times;
  };

  std::optional<Vsyncs> vsync;
  std::optional<Frames> frames;
  std::optional<Rows> memory;
  std::optional<Rows> statistics;                            ///< the kernel's, of the system
  std::optional<Rows> favourites;                            ///< the applications of each time slot
  std::vector<std::pair<std::string, std::string>> leftOut;  ///< parts, each with the reason
};

/** Adds the memory figures and statistics of now. */
void addFigures(Watched& watched);

/** Adds what the configured text of favourites says. */
void addConfiguredFavourites(Watched& watched);

/** The record of a report. A part that is not there is null; durations name their unit. */
Rows makeRecord(const Watched& watched);
