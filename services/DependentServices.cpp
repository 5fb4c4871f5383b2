#include "DependentServices.h"

#include <mutex>
#include <new>

#include <android-base/scopeguard.h>

#include "detail/LMLog.h"

using android::hardware::hidl_string;
using android::hardware::hidl_vec;
using lmsupport::kDependentServices;
using vendor::zeno::hardware::servicetracker::V1_0::ClientConnection;
using vendor::zeno::hardware::servicetracker::V1_0::Status;

android::sp<DependentServices::IServicetrackerV1_0> DependentServices::gServiceTrackerHalObject;
android::sp<DependentServices::IServicetrackerV1_1>
    DependentServices::gServiceTrackerHalObject_v1_1;
std::shared_timed_mutex DependentServices::gST_lock;
android::sp<STDeathRecipient> DependentServices::stDeathRecipient;

namespace {

constexpr char kInstance[] = "default";
constexpr int kNotFound = 1;
constexpr int kNoService = 4;
constexpr lmsupport::CaughtWording kWording = {LM_LOG_PREFIX "Exception caught: %s",
                                               LM_LOG_PREFIX "Exception caught"};

/** What the steps of connecting log as. */
constexpr char kConnect[] = "getSTServiceAndLinkToDeath";

/** To be called with gST_lock held. */
bool isConnected() {
  return DependentServices::gServiceTrackerHalObject != nullptr &&
         DependentServices::gServiceTrackerHalObject_v1_1 != nullptr;
}

/** To be called with gST_lock held exclusively. */
void dropProxies() {
  DependentServices::gServiceTrackerHalObject = nullptr;
  DependentServices::gServiceTrackerHalObject_v1_1 = nullptr;
}

/** Obtains the proxies that are missing. To be called with gST_lock held exclusively. */
void obtainProxies() {
  auto& proxy1_1 = DependentServices::gServiceTrackerHalObject_v1_1;
  if (proxy1_1 == nullptr) {
    proxy1_1 = DependentServices::IServicetrackerV1_1::getService(kInstance, false);
  }
  auto& proxy1_0 = DependentServices::gServiceTrackerHalObject;
  if (proxy1_0 == nullptr) {
    proxy1_0 = DependentServices::IServicetrackerV1_0::getService(kInstance, false);
  }
}

/**
 * Links a new recipient to both proxies and returns whether both accepted it. However else it ends,
 * by an exception too, both proxies are dropped: one that stayed without a link would never hear of
 * a death. To be called with gST_lock held exclusively.
 */
bool linkToDeath() {
  auto drop = android::base::make_scope_guard(dropProxies);
  auto& recipient = DependentServices::stDeathRecipient;
  recipient = new (std::nothrow) STDeathRecipient;
  const bool linked = DependentServices::gServiceTrackerHalObject_v1_1->linkToDeath(recipient, 0) &&
                      DependentServices::gServiceTrackerHalObject->linkToDeath(recipient, 0);
  if (linked) {
    drop.Disable();
  }
  return linked;
}

int connect() {
  if (std::shared_lock lock(DependentServices::gST_lock); isConnected()) {
    return 0;
  }
  std::unique_lock lock(DependentServices::gST_lock);
  if (isConnected()) {
    return 0;
  }
  obtainProxies();
  if (!isConnected()) {
    LM_LOGE_AS(kDependentServices, kConnect, __LINE__, "IServicetracker::getService failed!");
    return -1;
  }
  if (!linkToDeath()) {
    LM_LOGE_AS(kDependentServices, kConnect, __LINE__,
               "Unable to link to gServiceTrackerHalObjects' death notifications!");
    return -1;
  }
  return 0;
}

/**
 * Calls a proxy with gST_lock held shared, so that queries do not wait for one another. Drops the
 * proxy when the call failed in transport. Does nothing when there is no proxy.
 */
template <typename Proxy, typename Call>
void callTracker(android::sp<Proxy>& proxy, Call call) {
  bool arrived = false;
  {
    std::shared_lock lock(DependentServices::gST_lock);
    if (proxy == nullptr) {
      return;
    }
    arrived = call(*proxy).isOk();
  }
  if (!arrived) {
    std::unique_lock lock(DependentServices::gST_lock);
    proxy = nullptr;
  }
}

/** What a query does that uses its result as it came. */
constexpr auto kNothing = [] {};

/**
 * A query, in the name of the calling function: connects, has call(tracker, status) ask the tracker,
 * logs notFound where that is the answer, and does the rest with finish(). Returns the status.
 */
template <typename Proxy, typename Call, typename Finish>
int query(android::sp<Proxy>& proxy, Call call, const char* notFound, Finish finish,
          const char* function = __builtin_FUNCTION(), int line = __builtin_LINE()) {
  int status = kNoService;
  lmsupport::guard(
      kDependentServices, kWording,
      [&] {
        DependentServices().getSTServiceAndLinkToDeath();
        callTracker(proxy, [&](Proxy& tracker) { return call(tracker, status); });
        if (status == kNotFound) {
          LM_LOGE_AS(kDependentServices, function, line, "%s", notFound);
        }
        finish();
      },
      function, line);
  return status;
}

/** The HIDL callback of a query: takes the tracker's status, and what it found as result. */
template <typename Result>
auto answerTo(int& status, Result& result) {
  return [&](Status answered, const auto& found) {
    status = static_cast<int>(answered);
    result = found;
  };
}

}  // namespace

void STDeathRecipient::serviceDied(std::uint64_t /*cookie*/,
                                   const android::wp<android::hidl::base::V1_0::IBase>& /*who*/) {
  std::unique_lock lock(DependentServices::gST_lock);
  dropProxies();
  LM_LOGE(kDependentServices, "IServicetracker serviceDied");
}

int DependentServices::getSTServiceAndLinkToDeath() {
  return lmsupport::guard(kDependentServices, kWording, -1, connect);
}

int DependentServices::getServices(const std::string& serviceName,
                                   std::vector<std::string>& services) {
  hidl_vec<ClientConnection> connections;
  return query(
      gServiceTrackerHalObject,
      [&](IServicetrackerV1_0& tracker, int& status) {
        return tracker.getServiceConnections(serviceName, answerTo(status, connections));
      },
      "Service Tracker HAL could not find Client Connections",
      [&] {
        for (const ClientConnection& connection : connections) {
          services.emplace_back(connection.serviceName);
        }
      });
}

int DependentServices::getServicePIDs(hidl_vec<hidl_string> serviceNames,
                                      hidl_vec<std::int32_t>& pids) {
  return query(
      gServiceTrackerHalObject,
      [&](IServicetrackerV1_0& tracker, int& status) {
        return tracker.getServicePids(serviceNames, answerTo(status, pids));
      },
      "Could not get pids of services", kNothing);
}

int DependentServices::getAllActiveServicePIDs(std::vector<int>& pids) {
  return query(
      gServiceTrackerHalObject_v1_1,
      [&](IServicetrackerV1_1& tracker, int& status) {
        return tracker.getAllActiveServicePids(answerTo(status, pids));
      },
      "Could not get pids of all active services", kNothing);
}
