#pragma once

#include <vendor/zeno/hardware/servicetracker/1.1/IServicetracker.h>

/** A service tracker that supports nothing of version 1.0, for those that support some of it. */
template <typename Interface>
class TrackerBase : public Interface {
 public:
  using Text = android::hardware::hidl_string;
  using Texts = android::hardware::hidl_vec<Text>;
  using Result = android::hardware::Return<void>;
  using Status = vendor::zeno::hardware::servicetracker::V1_0::Status;

  Result serviceStarted(const Text&, std::int32_t) override { return {}; }
  Result serviceStopped(const Text&, std::int32_t) override { return {}; }
  Result serviceBound(const Text&, std::int32_t) override { return {}; }
  Result serviceUnbound(const Text&, std::int32_t) override { return {}; }
  Result processStarted(const Text&, std::int32_t) override { return {}; }
  Result processDied(const Text&, std::int32_t) override { return {}; }
  Result getServiceInfo(const Text&, typename Interface::getServiceInfo_cb done) override {
    return refuse(done, 0, 0);
  }
  Result getClientInfo(std::int32_t, typename Interface::getClientInfo_cb done) override {
    return refuse(done, {});
  }
  Result getServiceConnections(const Text&,
                               typename Interface::getServiceConnections_cb done) override {
    return refuse(done, {});
  }
  Result getServicePid(const Text&, typename Interface::getServicePid_cb done) override {
    return refuse(done, 0);
  }
  Result getServicePids(const Texts&, typename Interface::getServicePids_cb done) override {
    return refuse(done, {});
  }
  Result getServiceCount(typename Interface::getServiceCount_cb done) override {
    return refuse(done, 0);
  }
  Result getClientCount(const Text&, typename Interface::getClientCount_cb done) override {
    return refuse(done, 0);
  }

 private:
  template <typename... Results>
  static Result refuse(const std::function<void(Status, Results...)>& done,
                       std::type_identity_t<Results>... none) {
    done(Status::NOT_SUPPORTED, none...);
    return {};
  }
};
