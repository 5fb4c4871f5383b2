#include "HostCore.h"

#include <gmock/gmock.h>

#include <atomic>
#include <stdexcept>
#include <thread>

#include "config/NodePath.h"

using lmsupport::configuredNodePath;

TEST(HostCore, LookUpsFollowEveryChange) {
  const std::string longest(149, 'x');
  hostcore::setItem(7, longest);
  EXPECT_THROW(hostcore::setItem(7, longest + "x"), std::length_error);
  EXPECT_EQ(configuredNodePath(7), longest);
  hostcore::enableStore(false);
  EXPECT_EQ(configuredNodePath(7), "");
  hostcore::enableStore(true);
  hostcore::clearItem(7);
  EXPECT_EQ(configuredNodePath(7), "");
}

TEST(HostCore, APathMayBeReplacedWhileItIsLookedUp) {
  const std::string longest(149, 'x');
  std::atomic<bool> done = false;
  std::thread writer([&] {
    for (int i = 0; i < 2000; ++i) {
      hostcore::setItem(22, i % 2 == 0 ? "/short" : longest);
      hostcore::enableStore(i % 3 != 0);
    }
    hostcore::enableStore(true);
    done = true;
  });
  while (!done) {
    EXPECT_THAT(configuredNodePath(22), testing::AnyOf("", "/short", longest));
  }
  writer.join();
}
