// Prints memory figures, and the kernel's record of this process where the kernel keeps one.

#include <StatsProvider.h>
#include <unistd.h>

#include <cinttypes>
#include <cstdio>

static void printFigure(const char* name, std::uint64_t kB) {
  if (kB == kUnknownFigure) {
    std::printf("%-14s not told\n", name);
  } else {
    std::printf("%-14s %" PRIu64 " kB\n", name, kB);
  }
}

int main() {
  StatsProvider stats;  // asks the kernel what it supports; logs when that is nothing
  const SysStatsRecord memory = stats.getMemInfo();
  printFigure("swap used", memory.slots[kSwapUsedSlot]);
  printFigure("swap total", memory.slots[kSwapTotalSlot]);
  printFigure("vmalloc used", memory.slots[kVmallocUsedSlot]);

  if (!stats.supportsPidStats) {  // a plain host's kernel; then every record is all zero
    std::printf("this process:  the kernel has no SYSSTATS family\n");
    return memory.slots[kSwapTotalSlot] == kUnknownFigure ? 1 : 0;
  }
  PidStatsRecord own = {};
  const int error = stats.sendRecvData(0, getpid(), "", &own);  // as getPIDStats, with a result
  std::printf("this process:  result %d, first slot %" PRIu64 "\n", error, own.slots[0]);
  return error == 0 ? 0 : 1;
}
