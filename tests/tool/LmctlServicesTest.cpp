#include <gmock/gmock.h>

#include "HostServices.h"
#include "RunLmctl.h"
#include "testing/FakeTracker.h"

namespace {

TEST(LmctlServices, PrintsTheAnswers) {
  TrackerScript script;
  ASSERT_EQ(android::sp(new FakeTracker1_1(script))->registerAsService(), 0);
  EXPECT_EQ(runLine("services clients camera").out, "service\ncamera\nsecond\n");
  EXPECT_EQ(runLine("services pids 12345 6").out, "pid\n5\n");
  EXPECT_EQ(runLine("services active").out, "pid\n7\n8\n9\n");
  script.status = Status::NOT_FOUND;
  const LmctlResult none = runLine("services clients --json camera");
  EXPECT_EQ(none.status, kFailure);
  EXPECT_THAT(none.err, testing::HasSubstr("check the name"));
  hosthidl::killService(Tracker1_1::descriptor);
}

}  // namespace
