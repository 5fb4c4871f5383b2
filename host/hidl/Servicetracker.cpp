// Defines what hidl-gen's c++-sources would for both versions of IServicetracker, without the binder.

#include <algorithm>

#include "Registry.h"

#pragma GCC visibility push(default)
#include <vendor/zeno/hardware/servicetracker/1.1/IServicetracker.h>
#pragma GCC visibility pop

using android::sp;
using android::status_t;
using android::hardware::hidl_death_recipient;
using android::hardware::Return;
using android::hardware::Void;
using android::hidl::base::V1_0::IBase;
using hosthidl::Registry;

namespace {

/** Every service is in this process, so what is registered under a descriptor is of that type. */
template <typename Interface>
sp<Interface> lookUp(const std::string& name, bool getStub) {
  if (getStub) {
    return nullptr;  // stubs come from passthrough libraries, which a host does not have
  }
  return static_cast<Interface*>(Registry::instance().find(Interface::descriptor, name).get());
}

template <typename Interface>
sp<Interface> cast(const sp<IBase>& service) {
  bool implemented = false;
  if (service != nullptr) {
    const Return<void> asked = service->interfaceChain([&](const auto& chain) {
      implemented = std::find(chain.begin(), chain.end(), Interface::descriptor) != chain.end();
    });
    implemented = asked.isOk() && implemented;
  }
  return implemented ? static_cast<Interface*>(service.get()) : nullptr;
}

}  // namespace

namespace vendor::zeno::hardware::servicetracker::V1_0 {

const char* IServicetracker::descriptor =
    "vendor.zeno.hardware.servicetracker@1.0::IServicetracker";

Return<void> IServicetracker::interfaceChain(interfaceChain_cb _hidl_cb) {
  _hidl_cb({descriptor, IBase::descriptor});
  return Void();
}

Return<bool> IServicetracker::linkToDeath(const sp<hidl_death_recipient>& recipient,
                                          std::uint64_t cookie) {
  return IBase::linkToDeath(recipient, cookie);
}

Return<bool> IServicetracker::unlinkToDeath(const sp<hidl_death_recipient>& recipient) {
  return IBase::unlinkToDeath(recipient);
}

Return<sp<IServicetracker>> IServicetracker::castFrom(const sp<IServicetracker>& parent, bool) {
  return parent;
}

Return<sp<IServicetracker>> IServicetracker::castFrom(const sp<IBase>& parent, bool) {
  return cast<IServicetracker>(parent);
}

sp<IServicetracker> IServicetracker::tryGetService(const std::string& serviceName, bool getStub) {
  return lookUp<IServicetracker>(serviceName, getStub);
}

sp<IServicetracker> IServicetracker::getService(const std::string& serviceName, bool getStub) {
  return lookUp<IServicetracker>(serviceName, getStub);
}

status_t IServicetracker::registerAsService(const std::string& serviceName) {
  return Registry::instance().add(this, serviceName);
}

}  // namespace vendor::zeno::hardware::servicetracker::V1_0

namespace vendor::zeno::hardware::servicetracker::V1_1 {

const char* IServicetracker::descriptor =
    "vendor.zeno.hardware.servicetracker@1.1::IServicetracker";

Return<void> IServicetracker::interfaceChain(interfaceChain_cb _hidl_cb) {
  _hidl_cb({descriptor, V1_0::IServicetracker::descriptor, IBase::descriptor});
  return Void();
}

Return<bool> IServicetracker::linkToDeath(const sp<hidl_death_recipient>& recipient,
                                          std::uint64_t cookie) {
  return V1_0::IServicetracker::linkToDeath(recipient, cookie);
}

Return<bool> IServicetracker::unlinkToDeath(const sp<hidl_death_recipient>& recipient) {
  return V1_0::IServicetracker::unlinkToDeath(recipient);
}

Return<sp<IServicetracker>> IServicetracker::castFrom(const sp<IServicetracker>& parent, bool) {
  return parent;
}

Return<sp<IServicetracker>> IServicetracker::castFrom(const sp<V1_0::IServicetracker>& parent,
                                                      bool) {
  return cast<IServicetracker>(parent);
}

Return<sp<IServicetracker>> IServicetracker::castFrom(const sp<IBase>& parent, bool) {
  return cast<IServicetracker>(parent);
}

sp<IServicetracker> IServicetracker::tryGetService(const std::string& serviceName, bool getStub) {
  return lookUp<IServicetracker>(serviceName, getStub);
}

sp<IServicetracker> IServicetracker::getService(const std::string& serviceName, bool getStub) {
  return lookUp<IServicetracker>(serviceName, getStub);
}

status_t IServicetracker::registerAsService(const std::string& serviceName) {
  return Registry::instance().add(this, serviceName);
}

}  // namespace vendor::zeno::hardware::servicetracker::V1_1
