#pragma once

#include <ctime>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "StatsProvider.h"
#include "db/Favourites.h"
#include "testing/EventRecorder.h"

/** The machine's model, or else its host name. */
std::string deviceName();

/** What a report is made from; what was not watched is not there. */
struct Watched {
  struct Events {
    std::string node;
    Clock::time_point begin;
    Clock::time_point end;
    Recording recording;
  };
  struct LeftOut {
    std::string part;
    std::string reason;
  };

  const std::string device =
      deviceName();  ///< taken first: a sample's namespace has its own host name
  const std::time_t begun = std::time(nullptr);
  std::optional<Events> vsync{};
  std::optional<Events> frames{};
  SysStatsRecord memory{};
  std::optional<SysStatsRecord> statistics{};  ///< the kernel's, of the system
  std::optional<std::vector<FavouriteTables::Slot>> favourites{};
  std::vector<LeftOut> leftOut{};
};

/** Adds memory figures, statistics and the configured favourites as they are now. */
void addFigures(Watched& watched);

/** The record of a report. What is not there is null; durations name their unit. */
nlohmann::ordered_json makeRecord(const Watched& watched);
