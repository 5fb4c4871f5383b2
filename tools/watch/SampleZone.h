#pragma once

#include <sys/stat.h>

#include <cstdio>
#include <fstream>
#include <stdexcept>

#include "testing/PrivateProcess.h"

/** A thermal zone "cpu" that only this process sees, in the place of all others. */
class SampleZone {
 public:
  /** To be made before any thread. Throws std::runtime_error when the namespace is refused. */
  SampleZone() {
    if (!makeFolderPrivate("/sys/class")) {
      throw std::runtime_error("no private mount namespace; run as root or allow user namespaces");
    }
    mkdir("/sys/class/thermal", S_IRWXU);
    mkdir("/sys/class/thermal/thermal_zone0", S_IRWXU);
    std::ofstream("/sys/class/thermal/thermal_zone0/type") << "cpu\n";
  }

  void set(int milliCelsius) {
    constexpr char kNew[] = "/sys/class/thermal/new";
    std::ofstream(kNew) << milliCelsius << "\n";
    std::rename(kNew, "/sys/class/thermal/thermal_zone0/temp");  // no reader meets half of it
  }
};
