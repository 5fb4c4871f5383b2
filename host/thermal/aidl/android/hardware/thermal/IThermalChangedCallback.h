#pragma once

#include <string>

namespace aidl::android::hardware::thermal {

/** What the library takes of the platform's interface: the hash of its version. */
class IThermalChangedCallback {
 public:
  static inline const std::string hash = "host";
};

}  // namespace aidl::android::hardware::thermal
