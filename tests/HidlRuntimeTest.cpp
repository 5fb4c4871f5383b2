#include <gmock/gmock.h>

#include "HostServices.h"
#include "TrackerBase.h"

using namespace android::hardware;
using android::sp;
using testing::ElementsAre;
using Tracker10 = vendor::zeno::hardware::servicetracker::V1_0::IServicetracker;
using Tracker11 = vendor::zeno::hardware::servicetracker::V1_1::IServicetracker;

namespace {

struct NewerTracker : TrackerBase<Tracker11> {
  Result getAllActiveServicePids(getAllActiveServicePids_cb) override { return {}; }
};

TEST(HidlRuntime, CopiesOwnWhatTheirOriginalBorrows) {
  hidl_string texts[] = {"a", std::string("b\0c", 3)};
  hidl_vec<hidl_string> borrowed;
  borrowed.setToExternal(texts, 2);
  hidl_vec<hidl_string> copy = borrowed;
  texts[0] = "changed";
  EXPECT_EQ(borrowed[0], "changed");
  EXPECT_THAT(copy, ElementsAre("a", std::string("b\0c", 3)));
  const hidl_vec<hidl_string> moved = std::move(copy);
  EXPECT_EQ(copy.size(), 0u);
  copy = borrowed = moved;
  copy.resize(3);
  EXPECT_THAT(copy, ElementsAre("a", texts[1], ""));

  char letters[] = "xyz";
  hidl_string text;
  text.setToExternal(letters, 3);
  const hidl_string textCopy = text;
  letters[0] = '-';
  EXPECT_EQ(std::string(text) + textCopy.c_str(), "-yzxyz");
  EXPECT_DEATH(text.setToExternal(letters, 2), "no terminator");
}

TEST(HidlRuntime, AFailureAbortsOnlyWhenItsValueIsRead) {
  const Status dead = Status::fromStatusT(android::DEAD_OBJECT);
  EXPECT_DEATH((void)bool(Return<bool>(dead)), "value of a failed HIDL call.*transport error -32");
  Return<void> overwritten = Status::fromExceptionCode(Status::EX_NULL_POINTER, "why");
  EXPECT_EQ(overwritten.description(), "exception -4: why");
  overwritten = Return<void>();
  EXPECT_TRUE(overwritten.isOk());
  overwritten = Return<void>(dead);
  EXPECT_TRUE(overwritten.isDeadObject() && !overwritten.isOk());
}

TEST(HidlRuntime, EachVersionOfTheLatestRegisteredServiceIsFound) {
  EXPECT_EQ(Tracker10::getService(), nullptr);
  const sp<Tracker11> newer = new NewerTracker;
  const sp<Tracker10> older = new TrackerBase<Tracker10>;
  ASSERT_EQ(newer->registerAsService(), android::OK);
  EXPECT_EQ(Tracker10::getService(), newer);
  EXPECT_EQ(Tracker11::getService("default", true), nullptr);
  EXPECT_EQ(sp<Tracker11>(Tracker11::castFrom(Tracker10::getService())), newer);
  ASSERT_EQ(older->registerAsService(), android::OK);
  EXPECT_EQ(Tracker10::getService(), older);
  EXPECT_EQ(Tracker11::getService(), nullptr);
  EXPECT_TRUE(hosthidl::unregisterService(Tracker10::descriptor));
  EXPECT_EQ(older->getStrongCount(), 1);
}

TEST(HidlRuntime, ADeathIsToldOncePerLinkToThoseWhoStillLive) {
  struct Recipient : hidl_death_recipient {
    void serviceDied(uint64_t cookie,
                     const android::wp<android::hidl::base::V1_0::IBase>& who) override {
      cookies.push_back(who == service ? cookie : 0);
      EXPECT_FALSE(service->linkToDeath(this, 9));
    }
    sp<Tracker11> service = new NewerTracker;
    std::vector<uint64_t> cookies;
  };
  const sp<Recipient> recipient = new Recipient;
  ASSERT_EQ(recipient->service->registerAsService("mortal"), android::OK);
  for (const uint64_t cookie : {1, 2, 3}) {
    EXPECT_TRUE(recipient->service->linkToDeath(recipient, cookie));
  }
  EXPECT_TRUE(recipient->service->unlinkToDeath(recipient));
  sp<Recipient> released = new Recipient;
  EXPECT_TRUE(recipient->service->linkToDeath(released, 4));
  const android::wp<Recipient> gone = released;
  released.clear();
  EXPECT_EQ(gone.promote(), nullptr);  // the link does not hold it
  EXPECT_TRUE(hosthidl::killService(Tracker10::descriptor, "mortal"));
  EXPECT_THAT(recipient->cookies, ElementsAre(1, 2));
  EXPECT_EQ(recipient->getStrongCount(), 1);
  EXPECT_EQ(Tracker11::getService("mortal"), nullptr);
}

}  // namespace
