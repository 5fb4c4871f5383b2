#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "watch/Recording.h"

/**
 * The record of a report, which is an object {device, system, begun, vsync, frames, memory, favourites,
 * statistics, left_out}. What is not there is null; durations name their unit. To be begun first: a
 * sample's namespace has its own host name.
 */
nlohmann::ordered_json beginRecord();

/** Notes why a part is not there. */
void leaveOut(const std::string& part, const std::string& reason, nlohmann::ordered_json& record);

/**
 * Adds what was watched, and memory figures, statistics and favourites as they are now, or why they are
 * left out.
 */
void completeRecord(const std::vector<Recording>& recordings, nlohmann::ordered_json& record);

/** A page that shows a record: one file that needs nothing from elsewhere, with the record in it. */
std::string reportPage(const nlohmann::ordered_json& record);

/** The page's script, which fills in the figures and draws the charts. */
extern const char kReportScript[];
