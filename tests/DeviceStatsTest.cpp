#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/prctl.h>
#include <sys/sysinfo.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <thread>

#include "StatsProvider.h"
#include "device/sysstats.h"

using testing::Each;

namespace {

template <typename To, typename From>
To as(const From& record) {
  static_assert(sizeof(To) == sizeof(From));
  To result;
  std::memcpy(&result, &record, sizeof(result));
  return result;
}

void misbehave(sysstats_misbehaviour how) {
  std::ofstream("/sys/module/lmdevice/parameters/sysstats_misbehave") << how;
}

void reload(const char* parameters) {
  const std::string load = "insmod /lib/modules/lmdevice.ko ";
  ASSERT_EQ(std::system(("rmmod lmdevice && " + load + parameters).c_str()), 0);
}

/** Processes that sleep until it ends. */
class Sleepers {
 public:
  Sleepers(int count, const char* name) {
    for (int i = 0; i < count; ++i) {
      const pid_t pid = fork();
      if (pid == 0) {
        prctl(PR_SET_NAME, name);
        pause();
        _exit(0);
      }
      mPids.insert(pid);
    }
  }

  ~Sleepers() {
    for (const pid_t pid : mPids) {
      kill(pid, SIGKILL);
      waitpid(pid, nullptr, 0);
    }
  }

  std::set<pid_t> mPids;
};

class DeviceStats : public testing::Test {
 protected:
  ~DeviceStats() override { misbehave(SYSSTATS_MISBEHAVE_NOT); }

  StatsProvider mStats;
};

TEST_F(DeviceStats, RecordsAgreeWithProc) {
  const auto own = as<sysstats_pid_record>(mStats.getPIDStats(getpid()));
  EXPECT_EQ(own.pid, static_cast<std::uint64_t>(getpid()));
  EXPECT_EQ(own.parent_pid, static_cast<std::uint64_t>(getppid()));
  EXPECT_STREQ(own.name, "device_test");
  EXPECT_THAT(mStats.getPIDStats(999999).slots, Each(0));
  const SysStatsRecord system = mStats.getSysStats();
  struct sysinfo info;
  sysinfo(&info);
  EXPECT_EQ(as<sysstats_system_record>(system).total_kb, info.totalram * info.mem_unit / 1024);
  EXPECT_EQ(system.slots[kSwapTotalSlot], mStats.getMemInfo().slots[kSwapTotalSlot]);
  EXPECT_EQ(system.slots[kSwapUsedSlot], mStats.getMemInfo().slots[kSwapUsedSlot]);
  EXPECT_GT(system.slots[kSwapTotalSlot], 60000u);
}

TEST_F(DeviceStats, ThreeThousandProcessesArriveInOneRange) {
  Sleepers sleepers(3000, "sleeper");
  std::set<pid_t> found;
  for (const PidStatsRecord& record : mStats.getPIDStatsRange(0, 65535)) {
    EXPECT_TRUE(found.insert(static_cast<pid_t>(record.slots[0])).second);
  }
  EXPECT_TRUE(
      std::includes(found.begin(), found.end(), sleepers.mPids.begin(), sleepers.mPids.end()));
  const pid_t one = *sleepers.mPids.begin();
  EXPECT_EQ(mStats.getPIDStatsRange(one, one).size(), 1u);
}

TEST_F(DeviceStats, ProcessesAreFoundByTheirWholeName) {
  Sleepers named(3, "named");
  Sleepers others(2, "named-not");
  while (as<sysstats_pid_record>(mStats.getPIDStats(*others.mPids.rbegin())).name !=
         std::string("named-not")) {
    std::this_thread::yield();
  }
  std::vector<sysstats_pid> pids;
  EXPECT_EQ(mStats.getPIDsRange("named", pids), 0);
  std::set<pid_t> found;
  for (const sysstats_pid& pid : pids) {
    found.insert(static_cast<pid_t>(as<sysstats_pid_entry>(pid).pid));
  }
  EXPECT_EQ(found, named.mPids);
}

TEST_F(DeviceStats, TheFamilysVersionDecidesWhatIsSupported) {
  const std::pair<const char*, bool> cases[] = {
      {"sysstats_version=1", false}, {"sysstats_version=258", true}, {"", true}};
  for (const auto& [parameters, byName] : cases) {
    reload(parameters);
    const StatsProvider stats;
    EXPECT_TRUE(stats.supportsPidStats);
    EXPECT_EQ(stats.supportsPidsByName, byName);
  }
}

TEST_F(DeviceStats, AMisbehavingKernelIsSurvived) {
  misbehave(SYSSTATS_MISBEHAVE_SHORT);
  const PidStatsRecord cut = mStats.getPIDStats(getpid());
  EXPECT_EQ(cut.slots[0], static_cast<std::uint64_t>(getpid()));
  EXPECT_EQ(cut.slots[15], 0u);
  EXPECT_TRUE(mStats.getPIDStatsRange(0, 65535).empty());
  misbehave(SYSSTATS_MISBEHAVE_UNKNOWN);
  EXPECT_EQ(mStats.getPIDStats(getpid()).slots[0], static_cast<std::uint64_t>(getpid()));
  misbehave(SYSSTATS_MISBEHAVE_ERROR);
  std::vector<sysstats_pid> pids;
  EXPECT_EQ(mStats.getPIDsRange("device_test", pids), -1);
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

TEST_F(DeviceStats, TenThousandRequestsOfEightThreadsLeaveNothingBehind) {
  const auto descriptors = [] {
    std::filesystem::directory_iterator all("/proc/self/fd");
    return std::distance(begin(all), end(all));
  };
  const auto ask = [this](int times) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
      threads.emplace_back([&, times] {
        for (int j = 0; j < times; ++j) {
          const PidStatsRecord record = mStats.getPIDStats(getpid());
          ASSERT_EQ(record.slots[0], static_cast<std::uint64_t>(getpid()));
        }
      });
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
  };
  ask(10);
  const auto descriptorsBefore = descriptors();
  const std::size_t memoryBefore = mallinfo2().uordblks;
  ask(1250);
  EXPECT_EQ(descriptors(), descriptorsBefore);
  EXPECT_LT(mallinfo2().uordblks, memoryBefore + 65536);
}

}  // namespace
