#include "DependentServices.h"

#include <gmock/gmock.h>

#include <atomic>
#include <future>
#include <latch>
#include <semaphore>

#include "HostServices.h"
#include "testing/FailingNew.h"
#include "testing/FakeTracker.h"
#include "testing/LogCapture.h"

using android::sp;
using testing::ElementsAre;

namespace {

constexpr auto kLimit = std::chrono::seconds(10);

class Services : public testing::Test {
 protected:
  Services() { forget(); }
  ~Services() override { forget(); }

  static void forget() {
    hosthidl::unregisterService(Tracker1_0::descriptor);
    DependentServices::gServiceTrackerHalObject = nullptr;
    DependentServices::gServiceTrackerHalObject_v1_1 = nullptr;
    DependentServices::stDeathRecipient = nullptr;
  }

  void offer1_0() { EXPECT_EQ(sp(new FakeTracker<Tracker1_0>(mScript))->registerAsService(), 0); }
  void offer1_1() { EXPECT_EQ(sp(new FakeTracker1_1(mScript))->registerAsService(), 0); }
  static void withdraw() { hosthidl::unregisterService(Tracker1_0::descriptor); }
  static void kill() { hosthidl::killService(Tracker1_0::descriptor); }

  static int connect() { return DependentServices().getSTServiceAndLinkToDeath(); }

  static int clients() {
    std::vector<std::string> services = {"before"};
    const int status = DependentServices().getServices("first", services);
    const auto expected = status < 2 ? std::vector<std::string>{"before", "first", "second"}
                                     : std::vector<std::string>{"before"};
    EXPECT_EQ(services, expected);
    return status;
  }

  static int pids() {
    hidl_vec<std::int32_t> pids = {1, 2};
    const int status = DependentServices().getServicePIDs({"12345"}, pids);
    const auto expected = status < 2 ? hidl_vec<std::int32_t>{5} : hidl_vec<std::int32_t>{1, 2};
    EXPECT_EQ(pids, expected);
    return status;
  }

  static int active() {
    std::vector<int> pids = {1, 2};
    const int status = DependentServices().getAllActiveServicePIDs(pids);
    EXPECT_EQ(pids, status < 2 ? std::vector({7, 8, 9}) : std::vector({1, 2}));
    return status;
  }

  const LogCapture mLog;
  TrackerScript mScript;
};

constexpr char kNotFound[] = "getSTServiceAndLinkToDeath() IServicetracker::getService failed!";
constexpr char kNotLinked[] =
    "getSTServiceAndLinkToDeath() Unable to link to gServiceTrackerHalObjects' death "
    "notifications!";

/** Each step starts in the state that the one before left: which of the two proxies are there. */
TEST_F(Services, ProxiesComeAndGo) {
  const auto become = [this](Status status) { return [=, this] { mScript.status = status; }; };
  const auto lose = [this](bool lost) { return [=, this] { mScript.failsInTransport = lost; }; };
  const auto link = [this](int accepted) {
    return [=, this] { mScript.links.clear(), mScript.acceptedLinks = accepted; };
  };
  struct Step {
    const char* what;
    std::function<void()> event;
    int (*query)();
    int result;
    bool has1_0, has1_1;
    std::vector<std::string> log;
  };
  const Step steps[] = {
      {"no tracker", [] {}, clients, 4, false, false, {kNotFound}},
      {"only 1.0", [this] { offer1_0(); }, clients, 0, true, false, {kNotFound}},
      {"its pids", [] {}, pids, 0, true, false, {kNotFound}},
      {"is no connection", [] {}, connect, -1, true, false, {kNotFound}},
      {"1.1 is still missing", [] {}, active, 4, true, false, {kNotFound}},
      {"1.1 appears", [this] { offer1_1(); }, active, 0, true, true, {}},
      {"nothing found",
       become(Status::NOT_FOUND),
       clients,
       1,
       true,
       true,
       {"getServices() Service Tracker HAL could not find Client Connections"}},
      {"no pids", [] {}, pids, 1, true, true, {"getServicePIDs() Could not get pids of services"}},
      {"none active",
       [] {},
       active,
       1,
       true,
       true,
       {"getAllActiveServicePIDs() Could not get pids of all active services"}},
      {"success", become(Status::SUCCESS), pids, 0, true, true, {}},
      {"1.1 fails in transport", lose(true), active, 4, true, false, {}},
      {"comes back, 1.0 fails", [] {}, pids, 4, false, true, {}},
      {"comes back, fails again", [] {}, clients, 4, false, true, {}},
      {"gone for good", withdraw, clients, 4, false, true, {kNotFound}},
      {"back", [=, this] { lose(false)(), offer1_1(); }, clients, 0, true, true, {}},
      {"fails behind the answer",
       [this] { mScript.failsAfterAnswer = true; },
       pids,
       0,
       false,
       true,
       {}},
      {"works", [this] { mScript.failsAfterAnswer = false; }, pids, 0, true, true, {}},
      {"dies",
       [this] { forget(), offer1_1(), clients(), kill(); },
       pids,
       4,
       false,
       false,
       {"serviceDied() IServicetracker serviceDied", "serviceDied() IServicetracker serviceDied",
        kNotFound}},
      {"1.1 refuses the link",
       [=, this] { offer1_1(), link(0)(); },
       clients,
       4,
       false,
       false,
       {kNotLinked}},
      {"1.0 refuses it",
       [=, this] { EXPECT_EQ(mScript.links.size(), 1u), link(1)(); },
       connect,
       -1,
       false,
       false,
       {kNotLinked}},
      {"both accept it", link(2), active, 0, true, true, {}},
  };
  std::vector<std::string> log;
  for (const Step& step : steps) {
    SCOPED_TRACE(step.what);
    step.event();
    EXPECT_EQ(step.query(), step.result);
    EXPECT_EQ(DependentServices::gServiceTrackerHalObject != nullptr, step.has1_0);
    EXPECT_EQ(DependentServices::gServiceTrackerHalObject_v1_1 != nullptr, step.has1_1);
    for (const std::string& line : step.log) {
      log.push_back("DependentServices: " + line);
    }
    EXPECT_EQ(mLog.texts(), log);
  }
}

TEST_F(Services, EachConnectionLinksANewRecipientTo1_1First) {
  offer1_0();
  EXPECT_EQ(clients(), 0);
  offer1_1();
  EXPECT_EQ(connect(), 0);
  EXPECT_THAT(mScript.links, ElementsAre(Tracker1_1::descriptor, Tracker1_0::descriptor));
  const sp<STDeathRecipient> first = DependentServices::stDeathRecipient;
  DependentServices::gServiceTrackerHalObject = nullptr;
  EXPECT_EQ(connect(), 0);
  EXPECT_NE(DependentServices::stDeathRecipient, first);
}

TEST_F(Services, AnExceptionEndsAQueryWithTheStatusSoFarAndConnectingWithoutOne) {
  offer1_1();
  mScript.leavesNoMemory = true;
  std::vector<std::string> services;
  hidl_vec<std::int32_t> pids;
  std::vector<int> active;
  EXPECT_EQ(DependentServices().getServices("first", services), 0);
  EXPECT_EQ(DependentServices().getServicePIDs({"a"}, pids), 0);
  EXPECT_EQ(DependentServices().getAllActiveServicePIDs(active), 0);
  EXPECT_EQ(services.size() + pids.size() + active.size(), 0u);
  const auto line = [](const std::string& function) {
    return "DependentServices: " + function + "() Exception caught: std::bad_alloc";
  };
  EXPECT_THAT(mLog.texts(), ElementsAre(line("getServices"), line("getServicePIDs"),
                                        line("getAllActiveServicePIDs")));
  mScript.whenCalled = [] { throw 1; };
  EXPECT_EQ(clients(), 4);
  EXPECT_EQ(mLog.texts().back(), "DependentServices: getServices() Exception caught");
}

TEST_F(Services, ConnectedMeansLinkedAlsoAfterAShortageOfMemory) {
  offer1_1();
  int failures = 0;
  for (int connected = -1; connected != 0; ++failures) {
    failingnew::gThrowing = failures + 1;
    connected = connect();
    failingnew::gThrowing = 0;
    if (connected != 0) {
      EXPECT_EQ(mLog.texts().back(),
                "DependentServices: getSTServiceAndLinkToDeath() Exception caught: std::bad_alloc");
      EXPECT_FALSE(DependentServices::gServiceTrackerHalObject != nullptr &&
                   DependentServices::gServiceTrackerHalObject_v1_1 != nullptr);
      mScript.links.clear();
    }
  }
  EXPECT_GT(failures, 4);
  EXPECT_EQ(mScript.links.size(), 2u);
  const std::size_t lines = mLog.texts().size();
  kill();
  EXPECT_EQ(DependentServices::gServiceTrackerHalObject, nullptr);
  EXPECT_EQ(mLog.texts().size(), lines + 2);
}

TEST_F(Services, ALinkThatFailsInTransportEndsTheProcess) {
  offer1_1();
  mScript.linkFailsInTransport = true;
  EXPECT_EXIT(clients(), testing::KilledBySignal(SIGABRT), "");
}

TEST_F(Services, QueriesRunSideBySideAndADeathWaitsForThem) {
  offer1_1();
  EXPECT_EQ(connect(), 0);  // which does wait for a query that is under way
  std::counting_semaphore<> entered(0);
  std::counting_semaphore<> released(0);
  mScript.whenCalled = [&] {
    entered.release();
    released.acquire();
  };
  auto first = std::async(std::launch::async, clients);
  auto second = std::async(std::launch::async, pids);
  EXPECT_TRUE(entered.try_acquire_for(kLimit) && entered.try_acquire_for(kLimit));
  auto death = std::async(std::launch::async, kill);
  EXPECT_EQ(death.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
  EXPECT_TRUE(mLog.texts().empty());
  released.release(2);
  EXPECT_EQ(first.get() + second.get(), 0);
  death.get();
  EXPECT_EQ(DependentServices::gServiceTrackerHalObject, nullptr);
}

TEST_F(Services, ManyThreadsConnectOnce) {
  offer1_1();
  std::vector<std::future<int>> results(10);
  std::latch started(std::ssize(results));
  {
    const std::unique_lock lock(DependentServices::gST_lock);  // all find no proxy at its end
    for (auto& result : results) {
      result = std::async(std::launch::async, [&] {
        started.count_down();
        return connect();
      });
    }
    started.wait();
  }
  for (auto& result : results) {
    EXPECT_EQ(result.get(), 0);
  }
  EXPECT_EQ(mScript.links.size(), 2u);
}

TEST_F(Services, NothingIsMixedUpOrLeakedInAStorm) {
  const sp<FakeTracker1_1> tracker = new FakeTracker1_1(mScript);
  std::atomic<bool> stopped = false;
  std::atomic<int> answers = 0;
  std::atomic<int> failures = 0;
  const auto ask = [&](int client) {
    const std::string name(static_cast<std::size_t>(client), 'x');
    while (!stopped) {
      std::vector<std::string> services;
      hidl_vec<std::int32_t> pids = {0};
      const bool named = DependentServices().getServices(name, services) == 0;
      const bool found = DependentServices().getServicePIDs({name}, pids) == 0;
      ASSERT_EQ(services,
                named ? std::vector<std::string>({name, "second"}) : std::vector<std::string>());
      ASSERT_EQ(pids[0], found ? client : 0);
      answers += named + found;
      failures += !named + !found;
    }
  };
  std::vector<std::future<void>> clients;
  for (const int client : {1, 2, 3, 4}) {
    clients.push_back(std::async(std::launch::async, ask, client));
  }
  for (int turn = 0; turn < 200; ++turn) {
    EXPECT_EQ(tracker->registerAsService(), 0);
    mScript.failsInTransport = turn % 4 == 2;
    if (turn % 4 == 3) {
      kill();
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  stopped = true;
  clients.clear();  // once they have ended
  EXPECT_GT(answers, 0);
  EXPECT_GT(failures, 0);
  const sp<STDeathRecipient> recipient = DependentServices::stDeathRecipient;
  kill();
  forget();
  EXPECT_EQ(tracker->getStrongCount(), 1);
  EXPECT_EQ(recipient->getStrongCount(), 1);
}

}  // namespace
