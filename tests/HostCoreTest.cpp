#include "HostCore.h"

#include <gmock/gmock.h>

#include <stdexcept>

#include "config/Nodes.h"

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

/** A device's core library was compiled without this project's headers: only places matter. */
TEST(HostCore, LookUpIsTheStoresThirdVirtualFunction) {
  using LookUp = int (*)(ConfigStore*, int, char*);
  hostcore::setItem(7, "/node");
  ConfigStore* const store = DynamicLoader::getInstance()->mStore;
  char path[kConfigValueSize] = {};
  EXPECT_EQ((*reinterpret_cast<LookUp**>(store))[2](store, 7, path), 0);
  EXPECT_STREQ(path, "/node");
}
