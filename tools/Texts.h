#pragma once

#include <cstdint>
#include <string>

/** Why text is no whole number from low to high in decimal, or nothing. */
std::string wholeNumberProblem(const std::string& text, std::int64_t low, std::int64_t high);

/** Why text is no time to wait, at most so many seconds, or nothing. */
std::string secondsProblem(const std::string& text, int most);

/** Text without what a terminal would obey: its control bytes as "\x1b". */
std::string visible(const std::string& text);
