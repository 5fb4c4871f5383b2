#pragma once

#include <vendor/zeno/hardware/servicetracker/1.1/IServicetracker.h>

/** A service tracker of version 1.0 whose methods answer nothing; also the base of other fakes. */
template <typename Interface = vendor::zeno::hardware::servicetracker::V1_0::IServicetracker>
class QuietTracker : public Interface {
 public:
  using Nothing = android::hardware::Return<void>;
  using Text = const android::hardware::hidl_string&;
  using Texts = const android::hardware::hidl_vec<android::hardware::hidl_string>&;

  Nothing serviceStarted(Text, int32_t) override { return {}; }
  Nothing serviceStopped(Text, int32_t) override { return {}; }
  Nothing serviceBound(Text, int32_t) override { return {}; }
  Nothing serviceUnbound(Text, int32_t) override { return {}; }
  Nothing processStarted(Text, int32_t) override { return {}; }
  Nothing processDied(Text, int32_t) override { return {}; }
  Nothing getServiceInfo(Text, typename Interface::getServiceInfo_cb) override { return {}; }
  Nothing getClientInfo(int32_t, typename Interface::getClientInfo_cb) override { return {}; }
  Nothing getServiceConnections(Text, typename Interface::getServiceConnections_cb) override {
    return {};
  }
  Nothing getServicePid(Text, typename Interface::getServicePid_cb) override { return {}; }
  Nothing getServicePids(Texts, typename Interface::getServicePids_cb) override { return {}; }
  Nothing getServiceCount(typename Interface::getServiceCount_cb) override { return {}; }
  Nothing getClientCount(Text, typename Interface::getClientCount_cb) override { return {}; }
};

/** The same of version 1.1. */
class QuietTracker11
    : public QuietTracker<vendor::zeno::hardware::servicetracker::V1_1::IServicetracker> {
 public:
  Nothing getAllActiveServicePids(getAllActiveServicePids_cb) override { return {}; }
};
