#pragma once

#include <nlohmann/json_fwd.hpp>

/** A thermal zone "cpu" that only this process sees, in the place of all others. */
class SampleZone {
 public:
  /** To be made before any thread. Throws std::system_error when the namespace is refused. */
  explicit SampleZone(int milliCelsius);

  void set(int milliCelsius);
};

/** Have the thermal listener fetch until pauseThermal(). @{ */
void startThermal();
void pauseThermal();
/** @} */

/**
 * What was read last: rows {zone, milli_celsius}, in order of names. Null on a device, whose listener
 * keeps it to itself.
 */
nlohmann::ordered_json thermalZones();
