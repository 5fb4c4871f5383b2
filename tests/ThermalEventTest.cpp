#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <android-base/unique_fd.h>

#include <atomic>
#include <ctime>
#include <fstream>
#include <future>

#include "AsyncEventsMgr.h"
#include "HostThermal.h"
#include "ThermalListenerV2.h"
#include "testing/Folders.h"
#include "testing/Hooks.h"
#include "testing/LogCapture.h"
#include "testing/PrivateProcess.h"
#include "testing/SystemCallOf.h"
#include "testing/WithoutThreads.h"

static std::atomic<int> gSleeps;
static std::atomic<long> gSleepNs;

/** Counts sleeps and notes how long the last was meant to be. */
extern "C" int nanosleep(const timespec* duration, timespec* rest) {
  static const auto real = REAL(nanosleep);
  ++gSleeps;
  gSleepNs = duration->tv_sec * 1000000000L + duration->tv_nsec;
  return real(duration, rest);
}

namespace {

using android::base::unique_fd;
using hostthermal::lastReading;
using Clock = std::chrono::steady_clock;

const std::string kFolder = "/sys/class/thermal/";
const std::string kSensor = kFolder + "thermal_zone0/temp";

struct Source : ThermalEvent {
  ~Source() override { delete mThread; }
  using AsyncEvent::mThread;
};

void first(int, void*, int, void*) {}
void second(int, void*, int, void*) {}

template <typename Condition>
void waitUntil(Condition condition) {
  for (const auto end = Clock::now() + std::chrono::seconds(10); !condition();) {
    ASSERT_LT(Clock::now(), end);
  }
}

/** Whether the polling thread waits on a condition or lock. */
bool isPollingThreadAsleep() {
  for (const std::string& task : namesIn("/proc/self/task")) {
    const pid_t thread = std::stoi(task);
    if (nameOf(thread) == "LmThermalEvent" && systemCallOf(thread) == SYS_futex) {
      return true;
    }
  }
  return false;
}

/** With zones of the test's own. */
class Thermal : public testing::Test {
 protected:
  Thermal() { EXPECT_TRUE(makeFolderPrivate("/sys")); }
  ~Thermal() override { umount2("/sys", MNT_DETACH); }

  static void addZone(const std::string& folder, const char* type) {
    makeFolders(kFolder + folder);
    std::ofstream(kFolder + folder + "/type") << type << '\n';
  }

  /** The sensor as written to by its driver, if the thread is waiting for that in a fetch. */
  static unique_fd fetched() {
    return unique_fd(open(kSensor.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC));
  }

  static unique_fd awaitFetch() {
    unique_fd sensor;
    waitUntil([&] { return (sensor = fetched()).ok(); });
    return sensor;
  }

  static void answer(unique_fd sensor) {
    EXPECT_EQ(write(sensor.get(), "7\n", 2), 2);
    sensor.reset();
    waitUntil([] { return lastReading() == hostthermal::Reading{{"cpu", 7}}; });
  }

  const LogCapture mLog;
};

TEST_F(Thermal, FetchesWhileStartedAndForgetsTheDataAtEachStart) {
  addZone("thermal_zone0", "cpu");
  mkfifo(kSensor.c_str(), 0600);  // holds each fetch
  Source source;
  source.registerCallBack(first, nullptr);
  source.registerCallBack(second, nullptr);
  addZone("thermal_zone1", "gpu");
  std::ofstream(kFolder + "thermal_zone1/temp") << 5;
  auto fetch =
      std::async(std::launch::async, [] { ThermalListenerV2::getInstance()->getThermalData(); });
  unique_fd(awaitFetch()).reset();
  fetch.get();
  EXPECT_FALSE(lastReading().empty());
  removeFolder(kFolder + "thermal_zone1");
  withoutThreads([&] { source.startEvent(first); });
  EXPECT_TRUE(lastReading().empty());
  EXPECT_EQ(source.mThread, nullptr);
  source.pauseEvent(first);

  source.startEvent(first);
  answer(awaitFetch());
  std::thread* const thread = source.mThread;
  source.startEvent(second);
  EXPECT_TRUE(lastReading().empty());
  EXPECT_EQ(source.mThread, thread);
  source.pauseEvent(first);
  answer(awaitFetch());

  source.pauseEvent(second);
  waitUntil([] { return fetched(), isPollingThreadAsleep(); });
  EXPECT_FALSE(fetched().ok());
  source.startEvent(first);
  unique_fd sensor = awaitFetch();
  source.setThreadState(THREAD_EXIT);
  const int sleeps = gSleeps;
  answer(std::move(sensor));
  source.mThread->join();
  EXPECT_EQ(gSleeps, sleeps + 1);  // it noticed only at the next turn
  EXPECT_EQ(gSleepNs, 300000000);
  ThermalEvent::pollingThreadFunc(nullptr);
  EXPECT_THAT(mLog.texts(),
              testing::ElementsAre("AsyncEventsMgr_Thermal: startThread() Thread Creation Failed"));
}

}  // namespace
