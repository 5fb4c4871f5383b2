#pragma once

#include <ctime>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

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

  void leaveOut(const std::string& part, const std::string& reason) {
    leftOut.push_back({{"part", part}, {"reason", reason}});
  }

  /** Taken first: a sample's namespace has its own host name. */
  const std::string device = deviceName();
  const std::time_t begun = std::time(nullptr);
  std::optional<Events> vsync{};
  std::optional<Events> frames{};
  nlohmann::ordered_json memory{};
  nlohmann::ordered_json statistics{};  ///< the kernel's, of the system
  nlohmann::ordered_json favourites{};
  nlohmann::ordered_json leftOut = nlohmann::ordered_json::array();
};

/** A row for each time slot. */
nlohmann::ordered_json favouriteRows(const std::vector<FavouriteTables::Slot>& slots);

/** Adds memory figures, statistics and the configured favourites as they are now. */
void addFigures(Watched& watched);

/** The record of a report. What is not there is null; durations name their unit. */
nlohmann::ordered_json makeRecord(const Watched& watched);
