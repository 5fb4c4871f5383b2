#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

/** A page that shows a record: one file that needs nothing from elsewhere, with the record in it. */
std::string reportPage(const nlohmann::ordered_json& record);

/** The page's script, which fills in the figures and draws the charts. */
extern const char kReportScript[];
