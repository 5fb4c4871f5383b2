#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>

#include "AsyncEventsMgr.h"

TEST(DeviceLookup, FindsAProcessWhileItIsInTheForeground) {
  std::string name;
  std::getline(std::ifstream("/proc/self/cmdline"), name, '\0');
  EXPECT_EQ(AsyncEvent::getPidExpensive(name), -1);
  std::ofstream("/dev/cpuset/top-app/tasks") << getpid();
  EXPECT_EQ(AsyncEvent::getPidExpensive(name), getpid());
  std::ofstream("/dev/cpuset/tasks") << getpid();
  EXPECT_EQ(AsyncEvent::getPidExpensive(name), -1);
}
