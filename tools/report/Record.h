#pragma once

#include <ctime>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "watch/EventRecorder.h"

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
  nlohmann::ordered_json favourites{};  ///< instead of the configured ones
  nlohmann::ordered_json leftOut = nlohmann::ordered_json::array();
};

/**
 * The record of a report: what was watched, and memory figures, statistics and favourites as they are
 * now, or why they are left out. What is not there is null; durations name their unit.
 */
nlohmann::ordered_json makeRecord(Watched watched);

/** A page that shows a record: one file that needs nothing from elsewhere, with the record in it. */
std::string reportPage(const nlohmann::ordered_json& record);

/** The page's script, which fills in the figures and draws the charts. */
extern const char kReportScript[];
