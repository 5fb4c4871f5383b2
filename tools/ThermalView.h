#pragma once

#include <deque>
#include <string>
#include <vector>

#include "Console.h"
#include "Rows.h"
#include "testing/Clock.h"

/** The zones' temperatures over the last minutes, for a terminal. */
class ThermalView {
 public:
  /** Takes zones, as they are now, for the next bar when a second has passed since the last one. */
  std::vector<std::string> lines(const Rows& zones, const Screen& screen);

 private:
  struct Zone {
    std::string name;
    std::deque<double> celsius;  ///< the oldest first, at most kBars
  };

  static constexpr auto kBarPeriod = std::chrono::seconds(1);
  static constexpr std::size_t kBars = 500;

  void add(const Rows& zones);
  static std::string zoneLine(const Zone& zone, std::size_t nameWidth, const Screen& screen);

  std::vector<Zone> mZones;
  Clock::time_point mNextBar{};
};
