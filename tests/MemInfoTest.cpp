#include <gmock/gmock.h>
#include <sys/mount.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <string>

#include "StatsProvider.h"
#include "testing/Hooks.h"
#include "testing/LogCapture.h"
#include "testing/PrivateProcess.h"

using testing::ElementsAre;
using namespace std::string_literals;

extern "C" ssize_t read(int file, void* buffer, std::size_t size) {
  const hooks::Call call;
  return call.fails("read") ? -1 : REAL(read)(file, buffer, size);
}

namespace {

const std::string kPrefix = "StatsProvider: getMemInfo() getMemInfo: ";
constexpr std::uint64_t kNone = kUnknownFigure;

/** A record with nothing but these. */
auto figures(std::uint64_t swapUsed, std::uint64_t swapTotal, std::uint64_t vmallocUsed) {
  std::vector<std::uint64_t> slots(36);
  slots[kSwapUsedSlot] = swapUsed;
  slots[kSwapTotalSlot] = swapTotal;
  slots[kVmallocUsedSlot] = vmallocUsed;
  return testing::ElementsAreArray(slots);
}

class MemInfo : public testing::Test {
 protected:
  MemInfo() { makeFolderPrivate("/proc"); }
  ~MemInfo() override { umount2("/proc", MNT_DETACH); }

  std::vector<std::uint64_t> slotsFor(const std::string& text) {
    std::ofstream("/proc/meminfo") << text;
    const SysStatsRecord record = mStats.getMemInfo();
    return {std::begin(record.slots), std::end(record.slots)};
  }

  StatsProvider mStats;
  const LogCapture mLog;
};

TEST_F(MemInfo, FiguresAreTakenFromTheirLines) {
  const std::string manyLines(3 * 8192 - 5, '\n');  // a read ends within the next one
  using Figure = std::uint64_t;
  const std::tuple<const char*, std::string, Figure, Figure, Figure> cases[] = {
      {"the kernel's form",
       "MemTotal:  9 kB\nSlab:  4 kB\nSwapTotal:       2097148 kB\nSwapFree:        1048576 kB\n"
       "VmallocTotal: 5 kB\nVmallocUsed:       65536 kB\n",
       1048572, 2097148, 65536},
      {"no swap", "SwapTotal: 0 kB\nSwapFree: 0 kB\n", 0, 0, kNone},
      {"keys that only hold the name",
       "SwapCached: 7 kB\n\t ~SwapTotalX: 5\nSwapFree:5\nXSwapTotal: 1\nxVmallocUsed: 2\n", 0, 5,
       kNone},
      {"names behind another letter", "VSwapTotal: 1 U\nSwVmallocUsed: 2\n", kNone, kNone, kNone},
      {"a name behind the colon", std::string(20, ' ') + "Swap: 5 SwapTotal\nV: 6 VmallocUsed\n",
       kNone, kNone, kNone},
      {"the last of several", "SwapTotal: 4\nSwapTotal: 9\nSwapFree: 1\nSwapFree: 3\n", 6, 9,
       kNone},
      {"no digits", "SwapTotal: kB\nSwapTotal:\nSwapFree\nVmallocUsed: -3\n", kNone, kNone, kNone},
      {"characters that do not count", "\tSwap\tTo}tal:\t1~2\x80 kB\r\nSwapFree:  1\x01\x31", 1, 12,
       kNone},
      {"a space and a bar count", "Swap Total: 2\nSwap|Total: 3\n", kNone, kNone, kNone},
      {"a NUL ends a line", "SwapTotal: 4\0005\nSwapTotal\0: 6\n\0VmallocUsed: 7\n"s, kNone, 4,
       kNone},
      {"an int", "VmallocUsed: 2147483648\n", kNone, kNone, 0xFFFFFFFF80000000},
      {"a piece of 99 characters", "SwapTotal:" + std::string(88, ' ') + "75\n", kNone, 7, kNone},
      {"the next piece", std::string(95, 'k') + ":  1SwapTotal: 8\n", kNone, 8, kNone},
      {"a long file", manyLines + "SwapTotal: 5\n" + manyLines + "VmallocUsed: 3", kNone, 5, 3},
  };
  for (const auto& [what, text, used, total, vmalloc] : cases) {
    EXPECT_THAT(slotsFor(text), figures(used, total, vmalloc)) << what;
  }
}

TEST_F(MemInfo, FreeSwapBeforeTheTotalIsLoggedAndNotUsed) {
  EXPECT_THAT(slotsFor("SwapFree: 1\nSwapTotal: 5\n"), figures(kNone, 5, kNone));
  EXPECT_THAT(mLog.texts(), ElementsAre(kPrefix + "could not get SwapUsed"));
}

TEST_F(MemInfo, MoreFreeThanTotalSwapEndsTheProcess) {
  EXPECT_EXIT(slotsFor("SwapTotal: 5\nSwapFree: 6\n"), testing::KilledBySignal(SIGABRT), "");
}

TEST_F(MemInfo, AFailedReadLeavesOutTheLineThatMayGoOn) {
  hooks::failCall("read", 2);
  EXPECT_THAT(slotsFor("SwapTotal: 5\nVmallocUsed: 3"), figures(kNone, 5, kNone));
}

TEST_F(MemInfo, WithoutTheFileNothingIsKnown) {
  EXPECT_THAT(mStats.getMemInfo().slots, figures(kNone, kNone, kNone));
  EXPECT_THAT(mLog.texts(), ElementsAre(kPrefix + "fopen failed on /proc/meminfo\n"));
}

}  // namespace
