#pragma once

#include <string>
#include <vector>

#include "Console.h"

/** What the lowest and the highest bar of a sparkline stand for. */
struct Scale {
  double low;
  double high;
};

/**
 * A bar, one column wide, for each of values; those beyond the scale are shown at its end. Block
 * characters, or some of ASCII's that rise likewise.
 */
std::vector<std::string> sparkline(const std::vector<double>& values, Scale scale, bool unicode);

/** The bars in a row. */
std::string joined(const std::vector<std::string>& bars);
