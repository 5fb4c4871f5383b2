#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/sysinfo.h>

#include <csignal>
#include <filesystem>
#include <fstream>

#include "FakeKernel.h"
#include "LogCapture.h"
#include "PrivateMounts.h"
#include "StatsProvider.h"

using testing::ElementsAre;

namespace {

constexpr char kMemInfo[] = "/proc/meminfo";
constexpr std::uint64_t kUnknown = kUnknownFigure;

/** Puts texts in the place of /proc/meminfo. */
class MemInfo : public testing::Test {
 protected:
  MemInfo() {
    makeMountsPrivate();
    std::ofstream(mFile).close();
    EXPECT_EQ(mount(mFile.c_str(), kMemInfo, nullptr, MS_BIND, nullptr), 0);
  }

  ~MemInfo() override {
    umount2(kMemInfo, MNT_DETACH);
    std::filesystem::remove(mFile);
  }

  SysStatsRecord read(const std::string& text) {
    std::ofstream(mFile) << text;
    return mStats.getMemInfo();
  }

  const std::string mFile = testing::TempDir() + "lmsupport-meminfo";
  FakeKernel mKernel;
  StatsProvider mStats;
  const LogCapture mLog;
};

TEST_F(MemInfo, FiguresAreTakenFromTheirLines) {
  struct Case {
    std::string text;
    std::uint64_t used;
    std::uint64_t total;
    std::uint64_t vmalloc;
  };
  const std::string longKey(95, 'k');
  for (const Case& c : {
           Case{"MemTotal:  9 kB\nSwapTotal:       2097148 kB\nSwapFree:        1048576 kB\n"
                "VmallocTotal: 5 kB\nVmallocUsed:       65536 kB\n",
                1048572, 2097148, 65536},
           Case{"", kUnknown, kUnknown, kUnknown},
           Case{"SwapCached: 7 kB\n  SwapTotalX: 5\nSwapFree:5\nXSwapTotal: 1\nxVmallocUsed: 2\n",
                0, 5, kUnknown},
           Case{"SwapTotal: 4\nSwapTotal: 9\nSwapFree: 1\nSwapFree: 3\n", 6, 9, kUnknown},
           Case{"SwapTotal: kB\nSwapFree\nVmallocUsed: -3\n", kUnknown, kUnknown, kUnknown},
           Case{"Swap\tTo}tal:\t1~2\x80 kB\r\nSwapFree:  1\x01"
                "1",
                1, 12, kUnknown},
           Case{"VmallocUsed: 2147483648\n", kUnknown, kUnknown, 0xFFFFFFFF80000000},
           // A long line is read in pieces of 99 characters, the second a line of its own.
           Case{longKey + ":  1SwapTotal: 8\n", kUnknown, 8, kUnknown},
       }) {
    const SysStatsRecord record = read(c.text);
    EXPECT_EQ(record.slots[kSwapUsedSlot], c.used) << c.text;
    EXPECT_EQ(record.slots[kSwapTotalSlot], c.total) << c.text;
    EXPECT_EQ(record.slots[kVmallocUsedSlot], c.vmalloc) << c.text;
    EXPECT_EQ(record.slots[0] | record.slots[6] | record.slots[35], 0u);
  }
  EXPECT_TRUE(mLog.texts().empty());
}

TEST_F(MemInfo, FreeSwapNeedsItsTotalFirst) {
  const SysStatsRecord record = read("SwapFree: 1\nSwapTotal: 5\n");
  EXPECT_EQ(record.slots[kSwapUsedSlot], kUnknown);
  EXPECT_EQ(record.slots[kSwapTotalSlot], 5u);
  EXPECT_THAT(mLog.texts(),
              ElementsAre("StatsProvider: getMemInfo() getMemInfo: could not get SwapUsed"));
  EXPECT_EXIT(read("SwapTotal: 5\nSwapFree: 6\n"), testing::KilledBySignal(SIGABRT), "");
}

TEST_F(MemInfo, WithoutTheFileNothingIsKnown) {
  umount2(kMemInfo, MNT_DETACH);
  ASSERT_EQ(mount("none", "/proc", "tmpfs", 0, nullptr), 0);
  EXPECT_EQ(mStats.getMemInfo().slots[kSwapTotalSlot], kUnknown);
  EXPECT_THAT(
      mLog.texts(),
      ElementsAre("StatsProvider: getMemInfo() getMemInfo: fopen failed on /proc/meminfo\n"));
  umount2("/proc", MNT_DETACH);
}

TEST(MemInfoOnThisKernel, AgreesWithTheSystemCall) {
  StatsProvider stats;
  struct sysinfo before;
  sysinfo(&before);
  const SysStatsRecord record = stats.getMemInfo();
  struct sysinfo after;
  sysinfo(&after);
  const auto kb = [](std::uint64_t value, const struct sysinfo& info) {
    return value * info.mem_unit / 1024;
  };
  EXPECT_EQ(record.slots[kSwapTotalSlot], kb(before.totalswap, before));
  if (before.freeswap == after.freeswap) {
    EXPECT_EQ(record.slots[kSwapUsedSlot], kb(before.totalswap - before.freeswap, before));
  }
}

}  // namespace
