#include <gmock/gmock.h>
#include <sys/prctl.h>
#include <sys/sysinfo.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <csignal>
#include <set>

#include "StatsProvider.h"
#include "device/sysstats.h"

using testing::Each;

namespace {

TEST(DeviceStats, RecordsAgreeWithProc) {
  StatsProvider stats;
  const auto own = std::bit_cast<sysstats_pid_record>(stats.getPIDStats(getpid()));
  EXPECT_EQ(own.pid, static_cast<std::uint64_t>(getpid()));
  EXPECT_STREQ(own.name, "device_test");
  EXPECT_THAT(stats.getPIDStats(999999).slots, Each(0));
  const SysStatsRecord system = stats.getSysStats();
  const SysStatsRecord memory = stats.getMemInfo();
  struct sysinfo info;
  sysinfo(&info);
  EXPECT_EQ(system.slots[0], info.totalram * info.mem_unit / 1024);
  EXPECT_EQ(system.slots[kSwapTotalSlot], memory.slots[kSwapTotalSlot]);
  EXPECT_EQ(system.slots[kSwapUsedSlot], memory.slots[kSwapUsedSlot]);
}

TEST(DeviceStats, ManyProcessesAreFoundByRangeAndByName) {
  StatsProvider stats;
  std::set<pid_t> sleepers;
  prctl(PR_SET_NAME, "sleeper");   // which new processes inherit
  for (int i = 0; i < 600; ++i) {  // the kernel sends them in several parts
    const pid_t pid = fork();
    if (pid == 0) {
      pause();
    }
    sleepers.insert(pid);
  }
  prctl(PR_SET_NAME, "device_test");
  std::set<pid_t> inRange;
  for (const PidStatsRecord& record : stats.getPIDStatsRange(0, 65535)) {
    inRange.insert(static_cast<pid_t>(record.slots[0]));
  }
  std::vector<sysstats_pid> pids;
  EXPECT_EQ(stats.getPIDsRange("sleeper", pids), 0);
  std::set<pid_t> named;
  for (const sysstats_pid& pid : pids) {
    named.insert(static_cast<pid_t>(std::bit_cast<sysstats_pid_entry>(pid).pid));
  }
  for (const pid_t pid : sleepers) {
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
  }
  EXPECT_TRUE(std::includes(inRange.begin(), inRange.end(), sleepers.begin(), sleepers.end()));
  EXPECT_EQ(named, sleepers);
}

}  // namespace
