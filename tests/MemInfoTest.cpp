#include <gmock/gmock.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/sysinfo.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <string>

#include "StatsProvider.h"
#include "testing/Hooks.h"
#include "testing/LogCapture.h"
#include "testing/PrivateProcess.h"

using namespace std::string_literals;

namespace {

/** How many reads of this thread go well before all others fail; negative when none fails. */
thread_local int gGoodReads = -1;

}  // namespace

extern "C" ssize_t read(int file, void* buffer, std::size_t size) {
  if (gGoodReads == 0) {
    return -1;
  }
  gGoodReads -= gGoodReads > 0 ? 1 : 0;
  return REAL(read)(file, buffer, size);
}

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
  const auto memInfoOf = [&](const std::string& text) {
    std::ofstream(file) << text;
    return stats.getMemInfo();
  };
  const std::string manyLines = [] {
    std::string text;
    while (text.size() < 3 * 8192) {
      text += "Shmem:              8872 kB\n";
    }
    return text;
  }();
  struct Case {
    const char* what;
    std::string text;
    std::uint64_t used, total, vmalloc;
  };
  const Case cases[] = {
      {"the kernel's form",
       "MemTotal:  9 kB\nSwapTotal:       2097148 kB\nSwapFree:        1048576 kB\n"
       "VmallocTotal: 5 kB\nVmallocUsed:       65536 kB\n",
       1048572, 2097148, 65536},
      {"keys that only hold the name",
       "SwapCached: 7 kB\n  SwapTotalX: 5\nSwapFree:5\nXSwapTotal: 1\nxVmallocUsed: 2\n", 0, 5,
       kUnknown},
      {"names behind another letter", "VSwapTotal: 1 U\nSwVmallocUsed: 2\n", kUnknown, kUnknown,
       kUnknown},
      {"a name behind the colon", "Swap: 5 SwapTotal\nV: 6 VmallocUsed\n", kUnknown, kUnknown,
       kUnknown},
      {"the last of several", "SwapTotal: 4\nSwapTotal: 9\nSwapFree: 1\nSwapFree: 3\n", 6, 9,
       kUnknown},
      {"no digits", "SwapTotal: kB\nSwapTotal:\nSwapFree\nVmallocUsed: -3\n", kUnknown, kUnknown,
       kUnknown},
      {"characters that do not count", "\tSwap\tTo}tal:\t1~2\x80 kB\r\nSwapFree:  1\x01\x31", 1, 12,
       kUnknown},
      {"the last character that counts", "Swap|Total: 3\n", kUnknown, kUnknown, kUnknown},
      {"a NUL ends a line", "SwapTotal: 4\0005\nSwapTotal\0: 6\n\0VmallocUsed: 7\n"s, kUnknown, 4,
       kUnknown},
      {"an int", "VmallocUsed: 2147483648\n", kUnknown, kUnknown, 0xFFFFFFFF80000000},
      {"a piece of 99 characters", "SwapTotal:" + std::string(88, ' ') + "75\n", kUnknown, 7,
       kUnknown},
      {"the next piece", std::string(95, 'k') + ":  1SwapTotal: 8\n", kUnknown, 8, kUnknown},
      {"a long file", manyLines + "SwapTotal: 5\n" + manyLines + "VmallocUsed: 3", kUnknown, 5, 3},
      {"free before total", "SwapFree: 1\nSwapTotal: 5\n", kUnknown, 5, kUnknown},
  };
  for (const auto& [what, text, used, total, vmalloc] : cases) {
    const SysStatsRecord record = memInfoOf(text);
    EXPECT_THAT(record.slots, figures(used, total, vmalloc)) << what;
  }
  gGoodReads = 1;  // after which the last line may go on
  const SysStatsRecord record = memInfoOf("SwapTotal: 5\nVmallocUsed: 3");
  gGoodReads = -1;
  EXPECT_THAT(record.slots, figures(kUnknown, 5, kUnknown));
  EXPECT_EXIT(memInfoOf("SwapTotal: 5\nSwapFree: 6\n"), testing::KilledBySignal(SIGABRT), "");

  EXPECT_EQ(mount("none", "/proc", "tmpfs", 0, nullptr), 0);
  EXPECT_THAT(stats.getMemInfo().slots, figures(kUnknown, kUnknown, kUnknown));
  mkdir(kMemInfo, 0777);  // can be opened, but not read
  EXPECT_THAT(stats.getMemInfo().slots, figures(kUnknown, kUnknown, kUnknown));
  const std::string prefix = "StatsProvider: getMemInfo() getMemInfo: ";
  EXPECT_THAT(log.texts(), testing::ElementsAre(prefix + "could not get SwapUsed",
                                                prefix + "fopen failed on /proc/meminfo\n"));
  umount2("/proc", MNT_DETACH);
  umount2(kMemInfo, MNT_DETACH);
  unlink(file.c_str());
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
