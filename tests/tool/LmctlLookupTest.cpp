#include <gmock/gmock.h>
#include <sys/mount.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "HostServices.h"
#include "RunLmctl.h"
#include "config/Nodes.h"
#include "testing/FakeTracker.h"
#include "testing/PrivateProcess.h"

namespace {

TEST(LmctlPid, PrintsWhatIsInTheForeground) {
  const std::string tasks = kForegroundTasks;
  ASSERT_TRUE(makeFolderPrivate("/dev"));
  std::filesystem::create_directories(std::filesystem::path(tasks).parent_path());
  const std::string pid = std::to_string(getpid());
  std::ofstream(tasks) << pid;
  std::string name;
  std::getline(std::ifstream("/proc/self/cmdline"), name, '\0');
  EXPECT_EQ(runLmctl({"pid", name.c_str()}).out, pid + "\n");
  const LmctlResult json = runLmctl({"pid", "--json", "--once", name.c_str()});
  EXPECT_EQ(json.out, "{\n  \"name\": \"" + name + "\",\n  \"pid\": " + pid + "\n}\n");
  const LmctlResult absent = runLmctl({"pid", "--once", "absent"});
  EXPECT_EQ(absent.status, kFailure);
  EXPECT_THAT(absent.err, testing::HasSubstr("'absent': not in " + tasks));
  umount2("/dev", MNT_DETACH);
}

TEST(LmctlServices, PrintsTheAnswers) {
  EXPECT_THAT(runLmctl({"services", "active"}).err, testing::HasSubstr("cannot be reached"));
  TrackerScript script;
  ASSERT_EQ(android::sp(new FakeTracker1_1(script))->registerAsService(), 0);
  const LmctlResult clients = runLmctl({"services", "clients", "camera"});
  EXPECT_EQ(clients.status, kSuccess);
  EXPECT_EQ(clients.out, "service\ncamera\nsecond\n");
  const auto pids = [](std::vector<const char*> words) {
    return nlohmann::json::parse(runLmctl(std::move(words)).out).dump();
  };
  EXPECT_EQ(pids({"services", "pids", "12345", "6", "--json"}), R"([{"pid":5}])");
  EXPECT_EQ(pids({"services", "active", "--json"}), R"([{"pid":7},{"pid":8},{"pid":9}])");
  script.status = Status::NOT_FOUND;
  const LmctlResult none = runLmctl({"services", "clients", "--json", "camera"});
  EXPECT_EQ(none.status, kFailure);
  EXPECT_THAT(none.err, testing::HasSubstr("check the name"));
  hosthidl::killService(Tracker1_1::descriptor);
}

}  // namespace
