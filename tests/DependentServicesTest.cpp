#include "DependentServices.h"

#include <gmock/gmock.h>

#include <future>
#include <optional>

#include "HostServices.h"
#include "testing/BackgroundCall.h"
#include "testing/FailingNew.h"
#include "testing/FakeTracker.h"
#include "testing/LogCapture.h"

using android::sp;
using testing::ElementsAre;

namespace {

using Lines = std::vector<std::string>;

const std::string kPrefix = "DependentServices: ";
const std::string kConnect = kPrefix + "getSTServiceAndLinkToDeath() ";
const std::string kNotFound = kConnect + "IServicetracker::getService failed!";
const std::string kNotLinked =
    kConnect + "Unable to link to gServiceTrackerHalObjects' death notifications!";
const std::string kDied = kPrefix + "serviceDied() IServicetracker serviceDied";

/** An event, and a query after it. */
struct Step {
  const char* what;
  std::function<void()> event;
  int (*query)();
  int result;
  const char* proxies;  ///< those that are there afterwards
  Lines lines = {};
};

void nothing() {}

class Services : public testing::Test {
 protected:
  ~Services() override {
    withdraw();
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

  static std::string proxies() {
    const std::string first = DependentServices::gServiceTrackerHalObject != nullptr ? "1.0" : "";
    return first + (DependentServices::gServiceTrackerHalObject_v1_1 != nullptr ? "+1.1" : "");
  }

  /** Each step starts in the state that the one before left. */
  static void go(const std::vector<Step>& steps) {
    for (const Step& step : steps) {
      SCOPED_TRACE(step.what);
      const LogCapture log;
      step.event();
      EXPECT_EQ(step.query(), step.result);
      EXPECT_EQ(proxies(), step.proxies);
      EXPECT_EQ(log.texts(), step.lines);
    }
  }

  const LogCapture mLog;
  TrackerScript mScript;
};

TEST_F(Services, AMissingVersionIsLookedForByEachQuery) {
  go({{"no tracker", nothing, clients, 4, "", {kNotFound}},
      {"only 1.0", [this] { offer1_0(); }, clients, 0, "1.0", {kNotFound}},
      {"its pids", nothing, pids, 0, "1.0", {kNotFound}},
      {"not connected", nothing, connect, -1, "1.0", {kNotFound}},
      {"1.1 is missing", nothing, active, 4, "1.0", {kNotFound}},
      {"1.1 appears", [this] { offer1_1(); }, active, 0, "1.0+1.1"}});
}

TEST_F(Services, NothingFoundIsLoggedByEachQuery) {
  offer1_1();
  mScript.status = Status::NOT_FOUND;
  EXPECT_EQ(clients(), 1);
  EXPECT_EQ(pids(), 1);
  EXPECT_EQ(active(), 1);
  EXPECT_EQ(
      mLog.texts(),
      (Lines{kPrefix + "getServices() Service Tracker HAL could not find Client Connections",
             kPrefix + "getServicePIDs() Could not get pids of services",
             kPrefix + "getAllActiveServicePIDs() Could not get pids of all active services"}));
}

TEST_F(Services, AFailureInTransportDropsTheProxyThatWasUsed) {
  offer1_1();
  const auto lose = [this](Loss loss) { return [=, this] { mScript.loss = loss; }; };
  go({{"1.1 fails", lose(Loss::kRequest), active, 4, "1.0"},
      {"1.1 comes back, 1.0 fails", nothing, pids, 4, "+1.1"},
      {"1.0 comes back and fails again", nothing, clients, 4, "+1.1"},
      {"1.0 stays away", withdraw, clients, 4, "+1.1", {kNotFound}},
      {"1.0 is there", [&] { lose(Loss::kNothing)(), offer1_1(); }, clients, 0, "1.0+1.1"},
      {"1.0 fails behind its answer", lose(Loss::kReturn), pids, 0, "+1.1"},
      {"all is well", lose(Loss::kNothing), pids, 0, "1.0+1.1"}});
}

TEST_F(Services, ADeathDropsBothProxiesUntilTheNextQuery) {
  const auto reconnect = [] { DependentServices::gServiceTrackerHalObject = nullptr; };
  go({{"alive", [this] { offer1_1(); }, clients, 0, "1.0+1.1"},
      {"dead", kill, pids, 4, "", {kDied, kDied, kNotFound}},
      {"alive again", [this] { offer1_1(); }, active, 0, "1.0+1.1"},
      {"1.1 linked twice", reconnect, pids, 0, "1.0+1.1"},
      {"dead again", kill, pids, 4, "", {kDied, kDied, kNotFound}}});
}

TEST_F(Services, EachConnectionLinksANewRecipientTo1_1AndThen1_0) {
  go({{"only 1.0", [this] { offer1_0(); }, clients, 0, "1.0", {kNotFound}},
      {"1.1 appears", [this] { offer1_1(); }, connect, 0, "1.0+1.1"},
      {"connected", nothing, connect, 0, "1.0+1.1"}});
  EXPECT_THAT(mScript.links, ElementsAre(Tracker1_1::descriptor, Tracker1_0::descriptor));
  const sp<STDeathRecipient> first = DependentServices::stDeathRecipient;
  go({{"1.0 fails", [this] { mScript.loss = Loss::kReturn; }, pids, 0, "+1.1"},
      {"1.0 is replaced", nothing, connect, 0, "1.0+1.1"}});
  EXPECT_NE(DependentServices::stDeathRecipient, first);
}

TEST_F(Services, ProxiesThatCannotBeLinkedAreDropped) {
  offer1_1();
  const auto accept = [this](std::size_t links) {
    return [=, this] { mScript.links.clear(), mScript.acceptedLinks = links; };
  };
  const auto noMemory = [&] { accept(2)(), failingnew::gNothrow = 1; };
  go({{"1.1 refuses", accept(0), clients, 4, "", {kNotLinked}}});
  EXPECT_EQ(mScript.links.size(), 1u);
  go({{"1.0 refuses", accept(1), connect, -1, "", {kNotLinked}},
      {"no memory for a recipient", noMemory, connect, -1, "", {kNotLinked}},
      {"both accept", accept(2), active, 0, "1.0+1.1"}});
  EXPECT_EQ(mScript.links.size(), 2u);
}

TEST_F(Services, AnExceptionEndsAQueryWithTheStatusSoFar) {
  offer1_1();
  mScript.whenCalled = [] { failingnew::gThrowing = 1; };
  std::vector<std::string> services;
  hidl_vec<std::int32_t> pids;
  std::vector<int> active;
  EXPECT_EQ(DependentServices().getServices("first", services), 0);
  EXPECT_EQ(DependentServices().getServicePIDs({"a"}, pids), 0);
  EXPECT_EQ(DependentServices().getAllActiveServicePIDs(active), 0);
  EXPECT_EQ(services.size() + pids.size() + active.size(), 0u);
  const auto line = [](const std::string& function) {
    return kPrefix + function + "() Exception caught: std::bad_alloc";
  };
  EXPECT_THAT(mLog.texts(), ElementsAre(line("getServices"), line("getServicePIDs"),
                                        line("getAllActiveServicePIDs")));
  mScript.whenCalled = [] { throw 1; };
  EXPECT_EQ(clients(), 4);
  EXPECT_EQ(mLog.texts().back(), kPrefix + "getServices() Exception caught");
}

TEST_F(Services, AShortageOfMemoryNeverLeavesProxiesThatAreNotLinked) {
  offer1_1();
  int allowed = 0;
  for (failingnew::gThrowing = 1; connect() != 0; failingnew::gThrowing = ++allowed + 1) {
    EXPECT_EQ(mLog.texts().back(), kConnect + "Exception caught: std::bad_alloc");
    EXPECT_NE(proxies(), "1.0+1.1") << allowed;
    mScript.links.clear();
  }
  failingnew::gThrowing = 0;
  EXPECT_GT(allowed, 0);
  EXPECT_EQ(mScript.links.size(), 2u);
}

TEST_F(Services, ALinkThatFailsInTransportEndsTheProcess) {
  offer1_1();
  mScript.linkFailsInTransport = true;
  EXPECT_EXIT(clients(), testing::KilledBySignal(SIGABRT), "");
}

TEST_F(Services, QueriesRunSideBySideAndADeathWaitsForThem) {
  offer1_1();
  EXPECT_EQ(connect(), 0);  // which does wait for a query that is under way
  std::future<int> other;
  std::optional<BackgroundCall> death;
  std::atomic_flag isOther;
  mScript.whenCalled = [&] {
    if (!isOther.test_and_set()) {
      other = std::async(std::launch::async, pids);
      EXPECT_EQ(other.wait_for(std::chrono::seconds(10)), std::future_status::ready);
      death.emplace(kill);
      EXPECT_TRUE(death->waitsFor(DependentServices::gST_lock));
    }
  };
  EXPECT_EQ(clients(), 0);
  EXPECT_EQ(other.get(), 0);
  death.reset();
  EXPECT_EQ(proxies(), "");
}

TEST_F(Services, AProxyIsDroppedWhenNoOtherQueryIsUnderWay) {
  offer1_1();
  EXPECT_EQ(connect(), 0);
  mScript.loss = Loss::kRequest;
  std::shared_lock other(DependentServices::gST_lock);
  const BackgroundCall failing([] { EXPECT_EQ(pids(), 4); });
  EXPECT_TRUE(failing.waitsFor(DependentServices::gST_lock));
  EXPECT_EQ(proxies(), "1.0+1.1");
  other.unlock();
}

TEST_F(Services, ThreadsThatFindNoProxyConnectOnce) {
  offer1_1();
  {
    std::shared_lock query(DependentServices::gST_lock);
    const BackgroundCall first([] { EXPECT_EQ(connect(), 0); });
    const BackgroundCall second([] { EXPECT_EQ(connect(), 0); });
    EXPECT_TRUE(first.waitsFor(DependentServices::gST_lock));
    EXPECT_TRUE(second.waitsFor(DependentServices::gST_lock));
    query.unlock();
  }
  EXPECT_EQ(mScript.links.size(), 2u);
}

}  // namespace
