#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "DependentServices.h"
#include "TrackerBase.h"

using Tracker1_0 = DependentServices::IServicetrackerV1_0;
using Tracker1_1 = DependentServices::IServicetrackerV1_1;
using android::hardware::hidl_vec;
using vendor::zeno::hardware::servicetracker::V1_0::ClientConnection;
using vendor::zeno::hardware::servicetracker::V1_0::Status;

/** What is lost in transport. */
enum class Loss : int { kNothing, kRequest, kReturn };

/** What a FakeTracker does. */
struct TrackerScript {
  Status status = Status::SUCCESS;
  std::atomic<Loss> loss = Loss::kNothing;
  std::size_t acceptedLinks = SIZE_MAX;
  bool linkFailsInTransport = false;
  std::vector<std::string> links;  ///< the versions of the proxies that were linked to
  std::function<void()> whenCalled = [] {};
};

/** Answers each name with itself or its length. */
template <typename Interface>
class FakeTracker : public TrackerBase<Interface> {
 public:
  using typename TrackerBase<Interface>::Result;
  using typename TrackerBase<Interface>::Text;
  using typename TrackerBase<Interface>::Texts;

  explicit FakeTracker(TrackerScript& script) : mScript(script) {}

  Result getServiceConnections(const Text& name,
                               typename Interface::getServiceConnections_cb done) override {
    return answer(done, hidl_vec<ClientConnection>{{name, 1, 2}, {"second", 3, 4}});
  }

  Result getServicePids(const Texts& names, typename Interface::getServicePids_cb done) override {
    return answer(done, hidl_vec<std::int32_t>{static_cast<std::int32_t>(names[0].size())});
  }

  android::hardware::Return<bool> linkToDeath(
      const android::sp<android::hardware::hidl_death_recipient>& recipient,
      std::uint64_t cookie) override {
    EXPECT_EQ(cookie, 0u);
    if (mScript.linkFailsInTransport) {
      return kLost;
    }
    mScript.links.push_back(Interface::descriptor);
    return mScript.links.size() <= mScript.acceptedLinks &&
           Interface::linkToDeath(recipient, cookie);
  }

 protected:
  template <typename Done, typename Answer>
  Result answer(const Done& done, const Answer& found) {
    mScript.whenCalled();
    if (mScript.loss == Loss::kRequest) {
      return kLost;
    }
    done(mScript.status, found);
    return mScript.loss == Loss::kReturn ? Result(kLost) : Result();
  }

  const android::hardware::Status kLost =
      android::hardware::Status::fromStatusT(android::DEAD_OBJECT);
  TrackerScript& mScript;
};

class FakeTracker1_1 : public FakeTracker<Tracker1_1> {
 public:
  using FakeTracker::FakeTracker;

  Result getAllActiveServicePids(getAllActiveServicePids_cb done) override {
    return answer(done, hidl_vec<std::int32_t>{7, 8, 9});
  }
};
