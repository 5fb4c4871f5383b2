#include <gmock/gmock.h>
#include <sys/prctl.h>
#include <sys/sysinfo.h>
#include <sys/wait.h>
#include <unistd.h>

#include <bit>
#include <csignal>
#include <cstdlib>
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
  const std::uint64_t mOwnPid = static_cast<std::uint64_t>(getpid());
};

TEST_F(DeviceStats, RecordsAgreeWithProc) {
  const auto own = std::bit_cast<sysstats_pid_record>(mStats.getPIDStats(getpid()));
  EXPECT_EQ(own.pid, mOwnPid);
  EXPECT_EQ(own.parent_pid, static_cast<std::uint64_t>(getppid()));
  EXPECT_STREQ(own.name, "device_test");
  EXPECT_THAT(mStats.getPIDStats(999999).slots, Each(0));
  const SysStatsRecord system = mStats.getSysStats();
  const SysStatsRecord memory = mStats.getMemInfo();
  struct sysinfo info;
  sysinfo(&info);
  EXPECT_EQ(system.slots[0], info.totalram * info.mem_unit / 1024);
  EXPECT_EQ(system.slots[kSwapTotalSlot], memory.slots[kSwapTotalSlot]);
  EXPECT_EQ(system.slots[kSwapUsedSlot], memory.slots[kSwapUsedSlot]);
  EXPECT_GT(system.slots[kSwapTotalSlot], 60000u);
}

TEST_F(DeviceStats, ManyProcessesAreFoundByRangeAndByWholeName) {
  constexpr int kProcesses = 600;  // the kernel sends them in several parts
  std::set<pid_t> sleepers;
  for (int i = 0; i <= kProcesses; ++i) {
    prctl(PR_SET_NAME, i < kProcesses ? "named" : "named-not");  // which a new process inherits
    const pid_t pid = fork();
    if (pid == 0) {
      pause();
      _exit(0);
    }
    sleepers.insert(pid);
  }
  prctl(PR_SET_NAME, "device_test");
  std::set<pid_t> found;
  for (const PidStatsRecord& record : mStats.getPIDStatsRange(0, 65535)) {
    EXPECT_TRUE(found.insert(static_cast<pid_t>(record.slots[0])).second);
  }
  EXPECT_TRUE(std::includes(found.begin(), found.end(), sleepers.begin(), sleepers.end()));
  EXPECT_EQ(mStats.getPIDStatsRange(getpid(), getpid()).size(), 1u);
  std::vector<sysstats_pid> pids;
  EXPECT_EQ(mStats.getPIDsRange("named", pids), 0);
  std::set<pid_t> named;
  for (const sysstats_pid& pid : pids) {
    named.insert(static_cast<pid_t>(std::bit_cast<sysstats_pid_entry>(pid).pid));
  }
  for (const pid_t pid : sleepers) {
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
  }
  sleepers.erase(std::prev(sleepers.end()));
  EXPECT_EQ(named, sleepers);
}

TEST_F(DeviceStats, TheFamilysVersionDecidesWhatIsSupported) {
  for (const std::string version : {"1", "258", "2"}) {
    const std::string load = "rmmod lmdevice && insmod /lib/modules/lmdevice.ko sysstats_version=";
    ASSERT_EQ(std::system((load + version).c_str()), 0);
    const StatsProvider stats;
    EXPECT_TRUE(stats.supportsPidStats);
    EXPECT_EQ(stats.supportsPidsByName, version != "1");
  }
}

TEST_F(DeviceStats, AMisbehavingKernelIsSurvived) {
  misbehave(SYSSTATS_MISBEHAVE_SHORT);
  const PidStatsRecord cut = mStats.getPIDStats(getpid());
  EXPECT_EQ(cut.slots[0], mOwnPid);
  EXPECT_EQ(cut.slots[15], 0u);
  EXPECT_TRUE(mStats.getPIDStatsRange(0, 65535).empty());
  misbehave(SYSSTATS_MISBEHAVE_UNKNOWN);
  EXPECT_EQ(mStats.getPIDStats(getpid()).slots[0], mOwnPid);
  misbehave(SYSSTATS_MISBEHAVE_ERROR);
  EXPECT_THAT(mStats.getSysStats().slots, Each(0));
  misbehave(SYSSTATS_MISBEHAVE_SILENT);
  const pid_t asker = fork();
  if (asker == 0) {
    mStats.getSysStats();
    _exit(0);
  }
  usleep(200000);
  EXPECT_EQ(waitpid(asker, nullptr, WNOHANG), 0);  // there is no time-out
  kill(asker, SIGKILL);
  waitpid(asker, nullptr, 0);
}

}  // namespace
