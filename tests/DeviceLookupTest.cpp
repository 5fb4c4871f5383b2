#include <gtest/gtest.h>

#include <fstream>

#include "AsyncEventsMgr.h"
#include "testing/ForkedChild.h"

namespace {

TEST(DeviceLookup, FindsAProcessOnceItIsInTheForeground) {
  std::string name;
  std::getline(std::ifstream("/proc/self/cmdline"), name, '\0');
  const ForkedChild outside;
  const ForkedChild child;
  EXPECT_EQ(AsyncEvent::getPidExpensive(name), -1);
  std::ofstream("/dev/cpuset/top-app/tasks") << child.pid;
  EXPECT_EQ(AsyncEvent::getPidExpensive(name), child.pid);
  EXPECT_EQ(AsyncEvent::getPid(name), child.pid);
  std::ofstream("/dev/cpuset/tasks") << child.pid;
  EXPECT_EQ(AsyncEvent::getPidExpensive(name), -1);
}

}  // namespace
