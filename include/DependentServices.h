#pragma once

#include <vendor/zeno/hardware/servicetracker/1.1/IServicetracker.h>

#include <cstdint>
#include <shared_mutex>
#include <string>
#include <vector>

#include "detail/LMAttributes.h"

/** Hears of the death of the service tracker's process and drops the proxies to it. */
class LM_API STDeathRecipient : public android::hardware::hidl_death_recipient {
 public:
  /** Called by the HIDL runtime on a thread of its own. Takes gST_lock, so waits for queries. */
  void serviceDied(std::uint64_t cookie,
                   const android::wp<android::hidl::base::V1_0::IBase>& who) override;
};

/**
 * Client of the platform's service tracker, which knows which services are connected to which and
 * what their processes are.
 *
 * All state is process-wide: any number of objects on any threads share one pair of proxies. Each
 * query connects first when a proxy is missing and blocks for that and for the tracker's answer;
 * queries run in parallel. A query whose call failed in transport drops its proxy, and the next
 * query connects again.
 *
 * The result of a query is the tracker's Status as an int, or 4 when the tracker cannot be reached;
 * the output is then left alone. Status 1, nothing found, and a failure to connect are logged.
 * Nothing is thrown: when memory is short a query logs and returns the status as it stands.
 *
 * Note: the result of linking is read unchecked: a proxy whose linkToDeath fails in transport ends
 * the process. HIDL's own proxies give false for a dead tracker, which is logged.
 *
 * Note: the recipient is linked to both proxies, and each new connection replaces it by a new one,
 * so one death may be logged twice, once for each proxy. On a device the second line usually stays
 * away: a proxy's links end with it, and the first notification drops both. It appears when a client
 * has kept a proxy. On a host, where the service is its own proxy, both lines appear.
 *
 * Note: gST_lock is public, but calling a member while holding it deadlocks. Connecting waits for the
 * queries under way, then holds it exclusively, without limit, while all queries wait.
 */
class LM_API DependentServices {
 public:
  /** The versions of the tracker's interface. @{ */
  using IServicetrackerV1_0 = vendor::zeno::hardware::servicetracker::V1_0::IServicetracker;
  using IServicetrackerV1_1 = vendor::zeno::hardware::servicetracker::V1_1::IServicetracker;
  /** @} */

  /**
   * Obtains the missing proxies and links a new death recipient to both.
   *
   * @return 0 when both are there and linked, -1 with an ERROR log otherwise. A proxy that was
   *         obtained while the other could not be had stays; however else linking fails, for want of
   *         memory too, both are null again
   */
  int getSTServiceAndLinkToDeath();

  /** Appends the names of the services connected to serviceName to services. */
  int getServices(const std::string& serviceName, std::vector<std::string>& services);

  /** Replaces pids with the process identifiers of the services named. */
  int getServicePIDs(android::hardware::hidl_vec<android::hardware::hidl_string> serviceNames,
                     android::hardware::hidl_vec<std::int32_t>& pids);

  /** Replaces pids with the process identifiers of all active services. Needs version 1.1. */
  int getAllActiveServicePIDs(std::vector<int>& pids);

  /** The proxies, both usable or to be completed, and what they are linked to. Under gST_lock. @{ */
  static android::sp<IServicetrackerV1_0> gServiceTrackerHalObject;
  static android::sp<IServicetrackerV1_1> gServiceTrackerHalObject_v1_1;
  static android::sp<STDeathRecipient> stDeathRecipient;
  /** @} */

  static std::shared_timed_mutex gST_lock;  ///< shared around a query's call, exclusive for changes
};
