#include <unistd.h>

#include <ostream>

#include "Rows.h"
#include "Stats.h"
#include "demo/Steps.h"

StepResult demonstrateStats(DemoScene& scene) {
  std::ostream& out = scene.console.out;
  StatsProvider stats = probeQuietly();
  out << "memory     from /proc/meminfo\n";
  printTable(Rows::array({memoryFigures(stats.getMemInfo())}), out);
  if (!stats.supportsPidStats) {
    out << "SYSSTATS   this kernel does not have the netlink family\n";
    return {"memory figures; no netlink family SYSSTATS here", Outcome::kMissing};
  }
  constexpr int kLastPid = 300;
  const std::size_t processes = stats.getPIDStatsRange(1, kLastPid).size();
  out << "SYSSTATS   " << processes << " processes with identifiers up to " << kLastPid << "\n";
  return {"memory figures, and records of " + std::to_string(processes) + " processes",
          outcomeOf(processes > 0)};
}
