#pragma once

#include <string>

#include "Rows.h"

/** A page that shows a record: one file that needs nothing from elsewhere, with the record in it. */
std::string reportPage(const Rows& record);

/** The page's script, which fills in the figures and draws the charts. */
extern const char kReportScript[];
