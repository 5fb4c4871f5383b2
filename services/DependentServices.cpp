#include "DependentServices.h"

#include <mutex>
#include <new>

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

/** To be called with gST_lock held. */
bool isConnected() {
  return DependentServices::gServiceTrackerHalObject != nullptr &&
         DependentServices::gServiceTrackerHalObject_v1_1 != nullptr;
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

/** For a catch (...) block: logs the exception being handled in the name of the calling function. */
void logException(const char* function = __builtin_FUNCTION(), int line = __builtin_LINE()) {
  try {
    throw;
  } catch (const std::exception& e) {
    LM_LOGE_AS(kDependentServices, function, line, "Exception caught: %s", e.what());
  } catch (...) {
    LM_LOGE_AS(kDependentServices, function, line, "Exception caught");
  }
}

}  // namespace

void STDeathRecipient::serviceDied(std::uint64_t /*cookie*/,
                                   const android::wp<android::hidl::base::V1_0::IBase>& /*who*/) {
  std::unique_lock lock(DependentServices::gST_lock);
  DependentServices::gServiceTrackerHalObject = nullptr;
  DependentServices::gServiceTrackerHalObject_v1_1 = nullptr;
  LM_LOGE(kDependentServices, "IServicetracker serviceDied");
}

int DependentServices::getSTServiceAndLinkToDeath() {
  try {
    {
      std::shared_lock lock(gST_lock);
      if (isConnected()) {
        return 0;
      }
    }
    std::unique_lock lock(gST_lock);
    if (isConnected()) {
      return 0;
    }
    if (gServiceTrackerHalObject_v1_1 == nullptr) {
      gServiceTrackerHalObject_v1_1 = IServicetrackerV1_1::getService(kInstance, false);
    }
    if (gServiceTrackerHalObject == nullptr) {
      gServiceTrackerHalObject = IServicetrackerV1_0::getService(kInstance, false);
    }
    if (!isConnected()) {
      LM_LOGE(kDependentServices, "IServicetracker::getService failed!");
      return -1;
    }
    stDeathRecipient = new (std::nothrow) STDeathRecipient;
    const bool linked = gServiceTrackerHalObject_v1_1->linkToDeath(stDeathRecipient, 0) &&
                        gServiceTrackerHalObject->linkToDeath(stDeathRecipient, 0);
    if (linked) {
      return 0;
    }
    gServiceTrackerHalObject = nullptr;
    gServiceTrackerHalObject_v1_1 = nullptr;
    LM_LOGE(kDependentServices,
            "Unable to link to gServiceTrackerHalObjects' death notifications!");
    return -1;
  } catch (...) {
    logException();
    return -1;
  }
}

int DependentServices::getServices(const std::string& serviceName,
                                   std::vector<std::string>& services) {
  int status = kNoService;
  try {
    getSTServiceAndLinkToDeath();
    hidl_vec<ClientConnection> connections;
    const auto takeResult = [&](Status result, const hidl_vec<ClientConnection>& found) {
      status = static_cast<int>(result);
      connections = found;
    };
    callTracker(gServiceTrackerHalObject, [&](IServicetrackerV1_0& tracker) {
      return tracker.getServiceConnections(serviceName, takeResult);
    });
    if (status == kNotFound) {
      LM_LOGE(kDependentServices, "Service Tracker HAL could not find Client Connections");
    }
    for (const ClientConnection& connection : connections) {
      services.emplace_back(connection.serviceName);
    }
  } catch (...) {
    logException();
  }
  return status;
}

int DependentServices::getServicePIDs(hidl_vec<hidl_string> serviceNames,
                                      hidl_vec<std::int32_t>& pids) {
  int status = kNoService;
  try {
    getSTServiceAndLinkToDeath();
    const auto takeResult = [&](Status result, const hidl_vec<std::int32_t>& found) {
      status = static_cast<int>(result);
      pids = found;
    };
    callTracker(gServiceTrackerHalObject, [&](IServicetrackerV1_0& tracker) {
      return tracker.getServicePids(serviceNames, takeResult);
    });
    if (status == kNotFound) {
      LM_LOGE(kDependentServices, "Could not get pids of services");
    }
  } catch (...) {
    logException();
  }
  return status;
}

int DependentServices::getAllActiveServicePIDs(std::vector<int>& pids) {
  int status = kNoService;
  try {
    getSTServiceAndLinkToDeath();
    const auto takeResult = [&](Status result, const hidl_vec<std::int32_t>& found) {
      status = static_cast<int>(result);
      pids = std::vector<int>(found.begin(), found.end());
    };
    callTracker(gServiceTrackerHalObject_v1_1, [&](IServicetrackerV1_1& tracker) {
      return tracker.getAllActiveServicePids(takeResult);
    });
    if (status == kNotFound) {
      LM_LOGE(kDependentServices, "Could not get pids of all active services");
    }
  } catch (...) {
    logException();
  }
  return status;
}
