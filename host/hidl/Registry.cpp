#include "Registry.h"

#include <algorithm>
#include <utility>

#include "HostServices.h"

namespace hosthidl {

using android::hardware::hidl_death_recipient;

Registry& Registry::instance() {
  static Registry& registry = *new Registry;
  return registry;
}

bool Registry::Registration::answers(const std::string& wantedInterface,
                                     const std::string& wantedName) const {
  return name == wantedName &&
         std::find(chain.begin(), chain.end(), wantedInterface) != chain.end();
}

android::status_t Registry::add(const sp<IBase>& service, const std::string& name) {
  std::vector<std::string> chain;
  const bool asked =
      service->interfaceChain([&](const auto& names) { chain.assign(names.begin(), names.end()); })
          .isOk();
  if (!asked || chain.size() < 2) {
    return android::UNKNOWN_ERROR;
  }
  const std::string& firstVersion = chain.end()[-2];  // IBase comes last
  sp<IBase> replaced;                                 // destroyed without the lock
  std::lock_guard lock(mRegistryLck);
  replaced = take(firstVersion, name);
  service->mDead = false;
  mRegistrations.push_back({name, chain, service});
  return android::OK;
}

sp<IBase> Registry::find(const std::string& descriptor, const std::string& name) {
  std::lock_guard lock(mRegistryLck);
  for (const Registration& registration : mRegistrations) {
    if (registration.answers(descriptor, name)) {
      return registration.service;
    }
  }
  return nullptr;
}

sp<IBase> Registry::remove(const std::string& descriptor, const std::string& name) {
  std::lock_guard lock(mRegistryLck);
  return take(descriptor, name);
}

sp<IBase> Registry::take(const std::string& descriptor, const std::string& name) {
  for (auto entry = mRegistrations.begin(); entry != mRegistrations.end(); ++entry) {
    if (entry->answers(descriptor, name)) {
      const sp<IBase> removed = entry->service;
      mRegistrations.erase(entry);
      return removed;
    }
  }
  return nullptr;
}

bool Registry::link(IBase& service, const sp<hidl_death_recipient>& recipient,
                    std::uint64_t cookie) {
  std::lock_guard lock(mRegistryLck);
  if (recipient == nullptr || service.mDead) {
    return false;
  }
  service.mLinks.push_back({recipient, cookie});
  return true;
}

bool Registry::unlink(IBase& service, const sp<hidl_death_recipient>& recipient) {
  std::lock_guard lock(mRegistryLck);
  std::vector<IBase::Link>& links = service.mLinks;
  const auto last = std::find_if(links.rbegin(), links.rend(), [&](const IBase::Link& link) {
    return link.recipient == recipient;
  });
  if (last == links.rend()) {
    return false;
  }
  links.erase(std::next(last).base());
  return true;
}

void Registry::kill(const sp<IBase>& service) {
  std::vector<IBase::Link> links;
  {
    std::lock_guard lock(mRegistryLck);
    service->mDead = true;
    links.swap(service->mLinks);
  }
  for (const IBase::Link& link : links) {
    const sp<hidl_death_recipient> recipient = link.recipient.promote();
    if (recipient != nullptr) {
      recipient->serviceDied(link.cookie, service);
    }
  }
}

bool unregisterService(const std::string& descriptor, const std::string& name) {
  return Registry::instance().remove(descriptor, name) != nullptr;
}

bool killService(const std::string& descriptor, const std::string& name) {
  const sp<IBase> service = Registry::instance().remove(descriptor, name);
  if (service == nullptr) {
    return false;
  }
  Registry::instance().kill(service);
  return true;
}

}  // namespace hosthidl

namespace android::hidl::base::V1_0 {

using hardware::Return;
using hosthidl::Registry;

const char* IBase::descriptor = "android.hidl.base@1.0::IBase";

Return<bool> IBase::linkToDeath(const sp<hardware::hidl_death_recipient>& recipient,
                                std::uint64_t cookie) {
  return Registry::instance().link(*this, recipient, cookie);
}

Return<bool> IBase::unlinkToDeath(const sp<hardware::hidl_death_recipient>& recipient) {
  return Registry::instance().unlink(*this, recipient);
}

}  // namespace android::hidl::base::V1_0
