#include <gmock/gmock.h>
#include <sys/mount.h>
#include <unistd.h>

#include <climits>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "AsyncEventsMgr.h"
#include "testing/FailingNew.h"
#include "testing/Folders.h"
#include "testing/Hooks.h"
#include "testing/LogCapture.h"
#include "testing/PrivateProcess.h"

using namespace std::string_literals;

namespace {

/** What usleep does instead of sleeping. */
std::function<void(useconds_t)> gOnSleep;

}  // namespace

extern "C" int usleep(useconds_t us) {
  if (!gOnSleep) {
    return REAL(usleep)(us);
  }
  gOnSleep(us);
  return 0;
}

namespace {

constexpr char kTasks[] = "/dev/cpuset/top-app/tasks";

class ProcessLookup : public testing::Test {
 protected:
  ProcessLookup() {
    makeFolderPrivate("/dev");
    makeFolders("/dev/cpuset/top-app");
  }
  ~ProcessLookup() override {
    umount2("/dev", MNT_DETACH);
    AsyncEvent::clearPidMap();
  }

  /** Gives /proc one more mount: an empty one, in memory. */
  static void coverProc() { ASSERT_EQ(mount("none", "/proc", "tmpfs", 0, nullptr), 0); }

  const LogCapture mLog;
  std::string mName = "com.example.app";
};

TEST_F(ProcessLookup, AScanEndsAtTheFirstTaskOfThatNameWithAReadableStatus) {
  mName.assign(4096, 'n');  // as much as one read takes
  const std::string app = mName + "\0-v"s;
  struct Task {
    int id;
    std::string cmdline;  // "none" for none
    const char* status;   // null for none
  };
  const std::tuple<const char*, const char*, std::vector<Task>, int> cases[] = {
      {"a thread", "13\n12\n", {{13, app, "Name:\tx\nTgid:\t12\nPid:\t13\n"}}, 12},
      {"no files", "9 8\t5\n3", {{8, "none", "Tgid:8"}, {5, app, nullptr}, {3, app, "Tgid:4"}}, 4},
      {"empty", "1 2 3", {{1, "", "Tgid:1"}, {2, "\0"s + app, "Tgid:2"}, {3, mName, "Tgid:3"}}, 3},
      {"other lengths", "1 2", {{1, mName.substr(1), "Tgid:1"}, {2, mName + "2", "Tgid:2"}}, -1},
      {"another case", "1 2 1", {{1, std::string(4096, 'N'), "Tgid:1"}, {2, app, nullptr}}, -1},
      {"the list's order", "2 1", {{1, app, "Tgid:1"}, {2, app, "Tgid:2"}}, 2},
      {"the last line", "1", {{1, app, "Name:\tTgid 5\nxTgid: 6:7\nPid: 8\n"}}, 6},
      {"no number", "1 2", {{1, app, "Tgid: 1\nTgid:\n5\n"}, {2, app, "Tgid:2"}}, 0},
      {"no colon", "1", {{1, app, "Tgid 5"}}, 0},
      {"too large", "1", {{1, app, "Tgid:99999999999"}}, INT_MAX},
      {"too small", "1", {{1, app, "Tgid:-99999999999"}}, INT_MIN},
      {"no line", "1 2", {{1, app, "Pid: 1\n\nTgi"}, {2, app, "Tgid:2"}}, -1},
      {"no task", "1 x 2", {{2, app, "Tgid:2"}}, -1},
      {"a task beyond an int", "2147483648 2", {{2, app, "Tgid:2"}}, -1},
      {"a task below an int", "-2147483649 2", {{2, app, "Tgid:2"}}, -1},
      {"ints", "2147483647 -2147483648", {{INT_MAX, "x", ""}, {INT_MIN, app, "Tgid:2"}}, 2},
  };
  EXPECT_EQ(AsyncEvent::getPidExpensive(mName), -1);
  for (const auto& [what, list, tasks, pid] : cases) {
    std::ofstream(kTasks) << list;
    coverProc();
    for (const auto& [id, cmdline, status] : tasks) {
      const std::string folder = "/proc/" + std::to_string(id);
      makeFolders(folder);
      if (cmdline != "none") {
        std::ofstream(folder + "/cmdline") << cmdline;
      }
      if (status != nullptr) {
        std::ofstream(folder + "/status") << status;
      }
    }
    EXPECT_EQ(AsyncEvent::getPidExpensive(mName), pid) << what;
    umount2("/proc", MNT_DETACH);
  }
  EXPECT_TRUE(mLog.texts().empty());
}

TEST_F(ProcessLookup, FindsAProcessAmongThousandsOfTasksOfTheForegroundOnly) {
  std::string name;
  std::getline(std::ifstream("/proc/self/cmdline"), name, '\0');
  std::ofstream tasks(kTasks);
  for (int id = -5000; id < 0; ++id) {  // no process has those
    tasks << id << '\n';
  }
  tasks.flush();
  EXPECT_EQ(AsyncEvent::getPidExpensive(name), -1);
  tasks << getpid() << std::flush;
  EXPECT_EQ(AsyncEvent::getPidExpensive(name), getpid());
}

TEST_F(ProcessLookup, UpToFiveAttemptsAreMadeAndTheLastResultIsKept) {
  std::ofstream(kTasks) << 12;
  coverProc();
  makeFolders("/proc/12");
  std::ofstream("/proc/12/cmdline") << mName;
  const std::pair<std::vector<const char*>, int> cases[] = {
      {{"Tgid: 12"}, 12},
      {{"Tgid: 0", "", "Tgid: 5"}, 5},
      {{"Tgid: -5", "", "", "", "Tgid: 6"}, 6},
      {{"", "", "", "", "Tgid: 0"}, 0},
      {{"", "", "", "", ""}, -1}};
  for (const auto& [statuses, pid] : cases) {
    std::size_t attempts = 0;
    gOnSleep = [&attempts, &statuses = statuses](useconds_t us) {
      EXPECT_EQ(us, 200000u);
      std::ofstream("/proc/12/status") << statuses.at(attempts++);
    };
    EXPECT_EQ(AsyncEvent::getPid(mName), pid);
    EXPECT_EQ(attempts, statuses.size());
    EXPECT_EQ(AsyncEvent::mPidMap.at(mName), pid);
  }
  gOnSleep = nullptr;
  umount2("/proc", MNT_DETACH);
}

TEST_F(ProcessLookup, TheMapKeepsTheLastResultAndSurvivesAShortageOfMemory) {
  std::string other = "com.example.other";
  AsyncEvent::setPidOnMap(mName, 5);
  AsyncEvent::setPidOnMap(mName, 6);
  failingnew::gThrowing = 1;
  AsyncEvent::setPidOnMap(other, 7);
  EXPECT_EQ(AsyncEvent::getPidFromMap(mName), 6);
  EXPECT_EQ(AsyncEvent::mPidMap.size(), 1u);
  EXPECT_EQ(AsyncEvent::getPidFromMap(other), -1);
  AsyncEvent::clearPidMap();
  EXPECT_EQ(AsyncEvent::getPidFromMap(mName), -1);

  std::ofstream(kTasks) << getpid();
  failingnew::gThrowing = 1;
  EXPECT_EQ(AsyncEvent::getPidExpensive(mName), -1);
  EXPECT_THAT(
      mLog.texts(),
      testing::ElementsAre("AsyncEventsMgr: setPidOnMap() exception std::bad_alloc\n",
                           "AsyncEventsMgr: getPidExpensive() Caught Exception: std::bad_alloc in "
                           "getPidExpensive"));
}

}  // namespace
