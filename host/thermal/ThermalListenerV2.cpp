#include "ThermalListenerV2.h"

#include <dirent.h>

#include <fstream>
#include <memory>
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

void readZone(const std::string& zone, hostthermal::Reading& reading) {
  std::string type;
  int milliCelsius = 0;
  if (std::getline(std::ifstream(zone + "/type"), type) &&
      std::ifstream(zone + "/temp") >> milliCelsius) {
    reading.emplace(type, milliCelsius);
  }
}

hostthermal::Reading readZones() {
  hostthermal::Reading reading;
  const auto close = [](DIR* folder) { closedir(folder); };
  const std::unique_ptr<DIR, decltype(close)> folder(opendir(kThermalFolder), close);
  while (folder != nullptr) {
    const dirent* const entry = readdir(folder.get());
    if (entry == nullptr) {
      break;
    }
    const std::string name = entry->d_name;
    if (name.starts_with(kZonePrefix)) {
      readZone(kThermalFolder + ("/" + name), reading);
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
