#include <gmock/gmock.h>
#include <sys/mount.h>
#include <sys/sysinfo.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <tuple>

#include "StatsProvider.h"
#include "testing/LogCapture.h"
#include "testing/PrivateProcess.h"

namespace {

constexpr char kMemInfo[] = "/proc/meminfo";
constexpr std::uint64_t kUnknown = kUnknownFigure;

/** A record with nothing but these. */
auto figures(std::uint64_t swapUsed, std::uint64_t swapTotal, std::uint64_t vmallocUsed) {
  std::vector<std::uint64_t> slots(36);
  slots[kSwapUsedSlot] = swapUsed;
  slots[kSwapTotalSlot] = swapTotal;
  slots[kVmallocUsedSlot] = vmallocUsed;
  return testing::ElementsAreArray(slots);
}

TEST(MemInfo, FiguresAreTakenFromTheirLines) {
  ASSERT_TRUE(unshareMounts());
  const std::string file = testing::TempDir() + "lmsupport-meminfo";
  std::ofstream(file).close();
  EXPECT_EQ(mount(file.c_str(), kMemInfo, nullptr, MS_BIND, nullptr), 0);
  StatsProvider stats;
  const LogCapture log;
  const auto read = [&](const std::string& text) {
    std::ofstream(file) << text;
    return stats.getMemInfo();
  };
  const std::string longKey(95, 'k');
  const std::tuple<std::string, std::uint64_t, std::uint64_t, std::uint64_t> cases[] = {
      {"MemTotal:  9 kB\nSwapTotal:       2097148 kB\nSwapFree:        1048576 kB\n"
       "VmallocTotal: 5 kB\nVmallocUsed:       65536 kB\n",
       1048572, 2097148, 65536},
      {"SwapCached: 7 kB\n  SwapTotalX: 5\nSwapFree:5\nXSwapTotal: 1\nxVmallocUsed: 2\n", 0, 5,
       kUnknown},
      {"SwapTotal: 4\nSwapTotal: 9\nSwapFree: 1\nSwapFree: 3\n", 6, 9, kUnknown},
      {"SwapTotal: kB\nSwapFree\nVmallocUsed: -3\n", kUnknown, kUnknown, kUnknown},
      {"Swap\tTo}tal:\t1~2\x80 kB\r\nSwapFree:  1\x01\x31", 1, 12, kUnknown},
      {"Swap|Total: 3\n", kUnknown, kUnknown, kUnknown},
      {"VmallocUsed: 2147483648\n", kUnknown, kUnknown, 0xFFFFFFFF80000000},
      // A long line is read in pieces of 99 characters, the second a line of its own.
      {longKey + ":  1SwapTotal: 8\n", kUnknown, 8, kUnknown},
      {"SwapFree: 1\nSwapTotal: 5\n", kUnknown, 5, kUnknown},
  };
  for (const auto& [text, used, total, vmalloc] : cases) {
    const SysStatsRecord record = read(text);
    EXPECT_THAT(record.slots, figures(used, total, vmalloc)) << text;
  }
  EXPECT_EXIT(read("SwapTotal: 5\nSwapFree: 6\n"), testing::KilledBySignal(SIGABRT), "");

  EXPECT_EQ(mount("none", "/proc", "tmpfs", 0, nullptr), 0);
  EXPECT_THAT(stats.getMemInfo().slots, figures(kUnknown, kUnknown, kUnknown));
  const std::string prefix = "StatsProvider: getMemInfo() getMemInfo: ";
  EXPECT_THAT(log.texts(), testing::ElementsAre(prefix + "could not get SwapUsed",
                                                prefix + "fopen failed on /proc/meminfo\n"));
  umount2("/proc", MNT_DETACH);
  umount2(kMemInfo, MNT_DETACH);
  std::filesystem::remove(file);
}

TEST(MemInfoOnThisKernel, AgreesWithTheSystemCall) {
  struct sysinfo before;
  sysinfo(&before);
  const SysStatsRecord record = StatsProvider().getMemInfo();
  struct sysinfo after;
  sysinfo(&after);
  const auto kb = [&](std::uint64_t value) { return value * before.mem_unit / 1024; };
  EXPECT_EQ(record.slots[kSwapTotalSlot], kb(before.totalswap));
  if (before.freeswap == after.freeswap) {
    EXPECT_EQ(record.slots[kSwapUsedSlot], kb(before.totalswap - before.freeswap));
  }
}

}  // namespace
