#include <gmock/gmock.h>
#include <sys/prctl.h>
#include <sys/sysinfo.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <csignal>
#include <fstream>
#include <set>

#include "StatsProvider.h"
#include "device/sysstats.h"

using testing::Each;

namespace {

void misbehave(sysstats_misbehaviour how) {
  std::ofstream("/sys/module/lmdevice/parameters/sysstats_misbehave") << how;
}

class DeviceStats : public testing::Test {
 protected:
  ~DeviceStats() override { misbehave(SYSSTATS_MISBEHAVE_NOT); }

  StatsProvider mStats;
};

TEST_F(DeviceStats, RecordsAgreeWithProc) {
  const auto own = std::bit_cast<sysstats_pid_record>(mStats.getPIDStats(getpid()));
  EXPECT_EQ(own.pid, static_cast<std::uint64_t>(getpid()));
  EXPECT_STREQ(own.name, "device_test");
  EXPECT_THAT(mStats.getPIDStats(999999).slots, Each(0));
  const SysStatsRecord system = mStats.getSysStats();
  const SysStatsRecord memory = mStats.getMemInfo();
  struct sysinfo info;
  sysinfo(&info);
  EXPECT_EQ(system.slots[0], info.totalram * info.mem_unit / 1024);
  EXPECT_EQ(system.slots[kSwapTotalSlot], memory.slots[kSwapTotalSlot]);
  EXPECT_EQ(system.slots[kSwapUsedSlot], memory.slots[kSwapUsedSlot]);
}

TEST_F(DeviceStats, ManyProcessesAreFoundByRangeAndByName) {
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
  for (const PidStatsRecord& record : mStats.getPIDStatsRange(0, 65535)) {
    inRange.insert(static_cast<pid_t>(record.slots[0]));
  }
  std::vector<sysstats_pid> pids;
  EXPECT_EQ(mStats.getPIDsRange("sleeper", pids), 0);
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

TEST_F(DeviceStats, AMisbehavingKernelIsSurvived) {
  misbehave(SYSSTATS_MISBEHAVE_SHORT);
  EXPECT_TRUE(mStats.getPIDStatsRange(0, 65535).empty());
  misbehave(SYSSTATS_MISBEHAVE_UNKNOWN);
  EXPECT_EQ(mStats.getPIDStats(getpid()).slots[0], static_cast<std::uint64_t>(getpid()));
  misbehave(SYSSTATS_MISBEHAVE_ERROR);
  EXPECT_THAT(mStats.getSysStats().slots, Each(0));
  misbehave(SYSSTATS_MISBEHAVE_SILENT);
  const pid_t asker = fork();
  if (asker == 0) {
    mStats.getSysStats();
    _exit(0);
  }
  usleep(200000);
  EXPECT_EQ(waitpid(asker, nullptr, WNOHANG), 0);  // a request has no time-out
  kill(asker, SIGKILL);
  waitpid(asker, nullptr, 0);
}

}  // namespace
