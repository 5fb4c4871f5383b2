#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <stdexcept>
#include <thread>

#include "HostCore.h"
#include "config/NodePath.h"

using lmsupport::configuredNodePath;

namespace {

std::string fetchText(int key) {
  const auto hook = DynamicLoader::getInstance()->mFetchConfigText;
  char* const text = hook != nullptr ? hook(key) : nullptr;
  const std::string copy = text != nullptr ? text : "(null)";
  free(text);
  return copy;
}

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

  hostcore::setText(5638, std::string(40000, 'y'));
  EXPECT_EQ(fetchText(5638), std::string(40000, 'y'));
  hostcore::enableText(false);
  EXPECT_EQ(fetchText(5638), "(null)");
  hostcore::enableText(true);
  hostcore::clearText(5638);
  EXPECT_EQ(fetchText(5638), "(null)");
}

TEST(HostCore, APathMayBeReplacedWhileItIsLookedUp) {
  const std::string paths[] = {"/short", std::string(149, 'x')};
  std::atomic<bool> done = false;
  std::thread writer([&] {
    for (int i = 0; i < 2000; ++i) {
      hostcore::setItem(22, paths[i % 2]);
      hostcore::enableStore(i % 3 != 0);
    }
    done = true;
  });
  while (!done) {
    const std::string path = configuredNodePath(22);
    EXPECT_TRUE(path.empty() || path == paths[0] || path == paths[1]) << path;
  }
  writer.join();
  hostcore::enableStore(true);
}

}  // namespace
