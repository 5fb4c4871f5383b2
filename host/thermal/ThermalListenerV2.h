#pragma once

#include "detail/LMAttributes.h"

/**
 * What the thermal source requires of the platform's thermal listener, and nothing more. On a host
 * liblmhost.so defines it and reads /sys/class/thermal: see HostThermal.h. All operations may be
 * called from any thread.
 */
class LM_API ThermalListenerV2 {
 public:
  static ThermalListenerV2* getInstance();

  /** Discards what was gathered so far. */
  void resetThermalData();

  /** Fetches the current data; returns how many zones could be read, 0 where there is none. */
  int getThermalData();
};
