#pragma once

#include <hidl/HidlSupport.h>
#include <hidl/Status.h>

#include <functional>
#include <vector>

namespace hosthidl {
class Registry;
}

#pragma GCC visibility push(default)

namespace android::hidl::base::V1_0 {

/**
 * What every interface extends: the methods of host/hidl/interfaces/base/1.0/IBase.hal.
 *
 * A service is its own proxy on a host, so it also keeps what is linked to its death. On a device
 * the proxy keeps it: there the links end with the proxy, here only with the service.
 */
struct IBase : virtual public RefBase {
  using _hidl_tag = hardware::details::i_tag;

  static const char* descriptor;

  virtual bool isRemote() const { return false; }

  using interfaceChain_cb =
      std::function<void(const hardware::hidl_vec<hardware::hidl_string>& descriptors)>;

  /** Passes the descriptors of the interface and of all that it extends, the last one first. */
  virtual hardware::Return<void> interfaceChain(interfaceChain_cb _hidl_cb) = 0;

  /**
   * Tells the recipient when the service dies, if somebody still holds it then: a link holds it
   * weakly, as the platform's does. A recipient linked twice is told twice. Returns false for null
   * and for a dead service.
   */
  virtual hardware::Return<bool> linkToDeath(const sp<hardware::hidl_death_recipient>& recipient,
                                             std::uint64_t cookie);

  /** Undoes the last link of the recipient. Returns false when there is none. */
  virtual hardware::Return<bool> unlinkToDeath(const sp<hardware::hidl_death_recipient>& recipient);

 private:
  friend class hosthidl::Registry;

  struct Link {
    wp<hardware::hidl_death_recipient> recipient;
    std::uint64_t cookie;
  };

  /** Both are guarded by the registry's mutex. */
  std::vector<Link> mLinks;
  bool mDead = false;
};

}  // namespace android::hidl::base::V1_0

#pragma GCC visibility pop
