#pragma once

#include <string>

namespace aidl::android::hardware::thermal {

/** The part of the platform's interface that the library uses: the hash of its version. */
class IThermalChangedCallback {
 public:
  static inline const std::string hash = "host";
};

}  // namespace aidl::android::hardware::thermal
