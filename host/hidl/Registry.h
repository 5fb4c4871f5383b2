#pragma once

#include <android/hidl/base/1.0/IBase.h>

#include <mutex>
#include <string>
#include <vector>

#include "detail/LMAttributes.h"

namespace hosthidl {

using android::sp;
using android::hidl::base::V1_0::IBase;

/** The process's services by interface and instance, and the links to their deaths. */
class Registry {
 public:
  /** Never destroyed: a service may be looked up while the process exits. */
  static Registry& instance();

  /** Replaces the service of that name which extends the same first version. */
  android::status_t add(const sp<IBase>& service, const std::string& name);

  /** Returns null when there is none. */
  sp<IBase> find(const std::string& descriptor, const std::string& name);

  /** Removes the service and returns it, or null. */
  sp<IBase> remove(const std::string& descriptor, const std::string& name);

  bool link(IBase& service, const sp<android::hardware::hidl_death_recipient>& recipient,
            std::uint64_t cookie);
  bool unlink(IBase& service, const sp<android::hardware::hidl_death_recipient>& recipient);

  /** Marks the service as dead, ends its links and tells those recipients that still live. */
  void kill(const sp<IBase>& service);

 private:
  struct Registration {
    std::string name;
    std::vector<std::string> chain;
    sp<IBase> service;

    bool answers(const std::string& wantedInterface, const std::string& wantedName) const;
  };

  /** remove() with mRegistryLck held. */
  sp<IBase> take(const std::string& descriptor, const std::string& name) LM_REQUIRES(mRegistryLck);

  std::mutex mRegistryLck;
  std::vector<Registration> mRegistrations LM_GUARDED_BY(mRegistryLck);
};

}  // namespace hosthidl
