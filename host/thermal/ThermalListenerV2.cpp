#include "ThermalListenerV2.h"

#include <filesystem>
#include <fstream>
#include <mutex>

#include "HostThermal.h"

namespace {

constexpr char kThermalFolder[] = "/sys/class/thermal";
constexpr char kZonePrefix[] = "thermal_zone";

/** The listener's data, never destroyed: a polling thread may fetch while the process exits. */
struct Data {
  std::mutex mReadingLck;
  hostthermal::Reading mReading LM_GUARDED_BY(mReadingLck);
};

Data& data() {
  static Data& instance = *new Data;
  return instance;
}

hostthermal::Reading readZones() {
  hostthermal::Reading reading;
  std::error_code none;
  for (const auto& entry : std::filesystem::directory_iterator(kThermalFolder, none)) {
    std::string type;
    int milliCelsius = 0;
    if (entry.path().filename().string().starts_with(kZonePrefix) &&
        std::getline(std::ifstream(entry.path() / "type"), type) &&
        std::ifstream(entry.path() / "temp") >> milliCelsius) {
      reading.emplace(type, milliCelsius);
    }
  }
  return reading;
}

}  // namespace

ThermalListenerV2* ThermalListenerV2::getInstance() {
  static ThermalListenerV2 instance;
  return &instance;
}

void ThermalListenerV2::resetThermalData() {
  std::lock_guard lock(data().mReadingLck);
  data().mReading.clear();
}

int ThermalListenerV2::getThermalData() {
  hostthermal::Reading reading = readZones();
  std::lock_guard lock(data().mReadingLck);
  data().mReading = std::move(reading);
  return static_cast<int>(data().mReading.size());
}

hostthermal::Reading hostthermal::lastReading() {
  std::lock_guard lock(data().mReadingLck);
  return data().mReading;
}
