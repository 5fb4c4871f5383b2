#pragma once

#include <map>
#include <string>

#include "detail/LMAttributes.h"

namespace hostthermal {

/** Temperatures in milli-degrees Celsius by the type of their zone, which several may share. */
using Reading = std::multimap<std::string, int>;

/** What the host's thermal listener fetched last; empty after a reset. Callable from any thread. */
LM_API Reading lastReading();

}  // namespace hostthermal
