#pragma once

namespace android::hidl::manager::V1_0 {

/** Only named: the host's registry notifies nobody, and defines no registerForNotifications(). */
struct IServiceNotification;

}  // namespace android::hidl::manager::V1_0
