#pragma once

#include <iosfwd>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "Console.h"
#include "watch/Recording.h"

/** A number with so many digits after the point. */
std::string fixed(double value, int digits);

/**
 * Count and rate; a bar, one column wide, for each of the latest intervals, at most so many, the highest
 * of which stands for 1.75 medians and more; percentiles of these. Without an interval only the first line. The bars of late
 * events are marked by style.
 */
std::vector<std::string> liveLines(const Recording& recording, std::size_t most, const Style& style,
                                   std::size_t width);

/**
 * The figures of a recording; null for what is unknown without an interval. A frame is late that starts
 * more than 1.5 periods after the one before it. The period is the median of these intervals; refreshes
 * without a frame count as missed, also while there was nothing to draw.
 */
nlohmann::ordered_json figuresOf(const Recording& recording);

/** Prints the most important ones for a person. */
void printSummary(const Recording& recording, std::ostream& out);
