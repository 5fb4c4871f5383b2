#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

/** A thermal zone "cpu" that only this process sees, in the place of all others. */
class SampleZone {
 public:
  /** To be made before any thread. Throws std::system_error when the namespace is refused. */
  SampleZone();

  void set(int milliCelsius);
};

/** Have the thermal listener fetch until pauseThermal(). @{ */
void startThermal();
void pauseThermal();
/** @} */

/** Zones and their milli-degrees Celsius, in order of names. */
using ThermalZones = std::vector<std::pair<std::string, int>>;

/** What was read last; not known on a device, whose listener keeps it to itself. */
std::optional<ThermalZones> thermalZones();
