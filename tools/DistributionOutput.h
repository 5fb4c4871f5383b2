#pragma once

#include <iosfwd>
#include <nlohmann/json.hpp>

#include "testing/Distribution.h"

/** Prints the summary and a newline. */
void printSummary(const Distribution& values, std::ostream& out);

/** Prints a bar for each of a few equal bins between the 5th and 95th percentile, and outside. */
void printHistogram(const Distribution& values, std::ostream& out);

nlohmann::ordered_json toJson(const Distribution& values);
