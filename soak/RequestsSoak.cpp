#include <gmock/gmock.h>
#include <unistd.h>

#include <fstream>
#include <future>
#include <random>

#include "AsyncEventsMgr.h"
#include "HostServices.h"
#include "Resources.h"
#include "StatsProvider.h"
#include "config/Nodes.h"
#include "testing/FakeKernel.h"
#include "testing/FakeTracker.h"
#include "testing/LogCapture.h"
#include "testing/PrivateProcess.h"

using testing::Each;

namespace {

constexpr std::size_t kSlack = 64 << 10;  ///< bytes that the heap may grow by

class RequestsSoak : public testing::Test {
 protected:
  RequestsSoak() {
    makeFolderPrivate("/dev");
    const std::filesystem::path tasks = kForegroundTasks;
    std::filesystem::create_directories(tasks.parent_path());
    std::ofstream(tasks) << "1\n" << getpid();
    std::getline(std::ifstream("/proc/self/cmdline"), mName, '\0');
    EXPECT_EQ(android::sp(new FakeTracker1_1(mScript))->registerAsService(), 0);
  }
  ~RequestsSoak() override { hosthidl::killService(Tracker1_1::descriptor); }

  /** Uses each service so many times, each in a thread of its own. */
  void useServices(int times, std::mt19937& random) {
    void (RequestsSoak::*const uses[])(unsigned) = {&RequestsSoak::request, &RequestsSoak::lookUp,
                                                    &RequestsSoak::query, &RequestsSoak::writeNode};
    std::vector<std::future<void>> threads;
    for (const auto use : uses) {
      threads.push_back(
          std::async(std::launch::async, [=, this, own = std::mt19937(random())]() mutable {
            for (int i = 0; i < times && !HasFailure(); ++i) {
              (this->*use)(own());
            }
          }));
    }
  }

 private:
  void request(unsigned choice) {
    mKernel.released.clear();
    if (choice % 2 == 0) {
      mKernel.answer = {mKernel.message({{1, Bytes(152, 'p')}})};
      EXPECT_THAT(mStats.getPIDStats(1).slots, Each(0x7070707070707070));
    } else {
      mKernel.answer = {mKernel.message({{5, "aaaaaaaa"}, {5, "bbbbbbbb"}}, NLM_F_MULTI),
                        mKernel.done()};
      std::vector<sysstats_pid> pids;
      EXPECT_EQ(mStats.getPIDsRange("init", pids), 0);
      EXPECT_EQ(pids.size(), 2u);
    }
  }

  void lookUp(unsigned choice) {
    std::string name = choice % 2 == 0 ? mName : "absent";
    EXPECT_EQ(AsyncEvent::getPidExpensive(name), choice % 2 == 0 ? getpid() : -1);
  }

  void query(unsigned choice) {
    const std::string name(choice % 50, 'x');
    std::vector<std::string> services;
    hidl_vec<std::int32_t> pids;
    EXPECT_EQ(DependentServices().getServices(name, services), 0);
    EXPECT_EQ(DependentServices().getServicePIDs({name}, pids), 0);
    EXPECT_EQ(services, std::vector<std::string>({name, "second"}));
    EXPECT_THAT(pids, testing::ElementsAre(name.size()));
  }

  void writeNode(unsigned choice) {
    const int value = static_cast<int>(choice);
    EXPECT_EQ(AsyncEvent::updateSysNodes(mNode, value), 0);
    int written = 0;
    std::ifstream(mNode) >> written;
    EXPECT_EQ(written, value);
  }

  FakeKernel mKernel;
  StatsProvider mStats;
  std::string mName;
  TrackerScript mScript;
  const std::string mNode = "/dev/node";  // in memory, as the folder is
  const LogCapture mLog;
};

TEST_F(RequestsSoak, HundredsOfThousandsLeaveTheProcessAsItWas) {
  std::mt19937 random(static_cast<unsigned>(GTEST_FLAG_GET(random_seed)));
  useServices(1000, random);
  const Resources before = Resources::now();
  useServices(100000, random);
  const Resources after = Resources::now();
  EXPECT_EQ(after.descriptors, before.descriptors);
  EXPECT_EQ(after.threads, before.threads);
  EXPECT_LE(after.heapBytes, before.heapBytes + kSlack);
}

}  // namespace
