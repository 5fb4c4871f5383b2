#pragma once

#include <nlohmann/json_fwd.hpp>

/**
 * Makes a thermal zone "cpu" that only this process sees, in the place of all others. To be called
 * before there are threads. Throws std::system_error when the namespace is refused.
 */
void makeSampleZone(int milliCelsius);

/** Sets its temperature. */
void setSampleZone(int milliCelsius);

/** Have the thermal listener fetch until pauseThermal(). @{ */
void startThermal();
void pauseThermal();
/** @} */

/**
 * What was read last: rows {zone, milli_celsius}, in order of names. Null on a device, whose listener
 * keeps it to itself.
 */
nlohmann::ordered_json thermalZones();
