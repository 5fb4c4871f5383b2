#pragma once

#include <cstddef>
#include <string_view>

#include "StatsProvider.h"

namespace lmsupport {

/** A longer line of /proc/meminfo counts as several, of as many characters as this. */
inline constexpr std::size_t kMemInfoLineSize = 99;

/** Puts a line's figure into its slot of record; does nothing with any other line. */
void takeMemInfoLine(std::string_view line, SysStatsRecord& record);

/**
 * The same with each line of text that ends in it. Returns where the rest of the text begins, which
 * is shorter than kMemInfoLineSize.
 */
std::size_t takeMemInfoLines(std::string_view text, SysStatsRecord& record);

}  // namespace lmsupport
