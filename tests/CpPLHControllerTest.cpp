#include "CpPLHController.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <android-base/unique_fd.h>

#include <climits>
#include <fstream>
#include <functional>
#include <sstream>
#include <stdexcept>

#include "HostCore.h"
#include "config/DynamicLoader.h"
#include "testing/BackgroundCall.h"
#include "testing/FailingNew.h"
#include "testing/LogCapture.h"
#include "testing/TemporaryFolder.h"

namespace {

using Settings = std::vector<CpPLHController::Command>;
using Lines = std::vector<std::string>;

/** Three files, two paths that cannot be opened, a node that takes nothing, and an unknown item. */
enum Item : int { kA, kB, kC, kFolder, kNowhere, kFull, kUnknown };

const std::string kDefault(100, '1');  // to be copied into new memory
const std::string kPrefix = "CP_PLH_Controller: ";

Lines cannotOpen(const std::string& path) {
  return {kPrefix + "updateSysNodes() Unable to open " + path + " file"};
}

void* initNothing() { return nullptr; }
void* initThrows() { throw std::runtime_error("hook"); }

/** Replaces the framework's store while it lives. */
struct OtherStore final : ConfigStore {
  explicit OtherStore(std::function<int(char*)> function) : answer(std::move(function)) {
    DynamicLoader::getInstance()->mStore = this;
  }
  ~OtherStore() { DynamicLoader::getInstance()->mStore = usual; }

  int lookup(int, char* out) override { return answer(out); }

  const std::function<int(char*)> answer;
  ConfigStore* const usual = DynamicLoader::getInstance()->mStore;
};

class Controller : public testing::Test {
 protected:
  Controller() {
    int item = kA;
    for (const auto& path : {mFolder + "a", mFolder + "b", mFolder + "c", mFolder,
                             std::string("/nowhere/node"), std::string("/dev/full")}) {
      hostcore::setItem(item++, path);
    }
  }

  CpPLHController make(Settings initial, void* (*hook)()) {
    CpPLHController::Command first(kA, kDefault);
    CpPLHController::Command second(kB, "2");
    return {initial, first, second, "name", hook};
  }

  void setFiles(const char* text) const {
    for (const char* const name : {"a", "b", "c"}) {
      std::ofstream(mFolder + name) << text;
    }
  }

  std::string files() const {
    std::ostringstream text;
    for (const char* const name : {"a", "b", "c"}) {
      std::ifstream file(mFolder + name);
      text << std::string(std::istreambuf_iterator<char>(file), {}) << ' ';
    }
    return text.str();
  }

  const TemporaryFolder mTemporary;
  const std::string mFolder = mTemporary.path() + "/";
  const LogCapture mLog;
};

TEST_F(Controller, WritesTheInitialSettingsOnceAndThenWhatIsCommanded) {
  struct Case {
    const char* what;
    Settings initial;
    bool hasStore;  // during the construction
    void* (*hook)();
    int type;
    const char* value;
    int item;
    int result;
    std::string files;
    Lines lines = {};
  };
  const Settings one = {{kC, "3"}};
  const Settings several = {{kC, "x"}, {kC, ""}, {kB, "y"}};
  const Settings unknown = {{kC, "3"}, {kUnknown, "x"}, {kB, "x"}};
  const Settings folder = {{kFolder, "x"}, {kC, "3"}};
  const Case cases[] = {
      {"nothing to set", {}, true, nullptr, 0, "v", kA, 0, "old old old "},
      {"an unknown setting", unknown, true, nullptr, 2, "v", kA, 0, "old old 3 "},
      {"no such type", several, true, nullptr, 3, "v", kA, 0, "old y  "},
      {"a negative type", one, true, nullptr, -1, "v", kA, 0, "old old 3 "},
      {"no store", {{kUnknown, "x"}}, false, nullptr, 2, "v", kA, 1, "v old old ", cannotOpen("")},
      {"a folder", folder, true, nullptr, 1, "", kA, 1, "old 2 3 ", cannotOpen(mFolder)},
      {"a hook, and a default", {}, true, initNothing, 0, "", kB, 1, kDefault + " old old "},
      {"a hook, and a value", unknown, true, initNothing, 0, "v", kB, 1, "v old old "},
      {"the second preset", one, true, nullptr, 1, "v", kA, 1, "old v 3 "},
      {"an empty value", one, true, nullptr, 2, "", kA, 1, " old 3 "},
      {"an unknown item", one, true, nullptr, 2, "v", kUnknown, 0, "old old 3 "},
      {"no node", one, true, nullptr, 2, "v", kNowhere, 1, "old old 3 ",
       cannotOpen("/nowhere/node")},
      {"a node that takes nothing", one, true, nullptr, 2, "v", kFull, 1, "old old 3 "},
  };
  for (auto [what, initial, hasStore, hook, type, value, item, result, after, lines] : cases) {
    SCOPED_TRACE(what);
    setFiles("old");
    const LogCapture log;
    hostcore::enableStore(hasStore);
    CpPLHController controller = make(initial, hook);
    hostcore::enableStore(false);
    EXPECT_EQ(controller.commandCp(2, "x", kA), 0);
    hostcore::enableStore(true);
    EXPECT_EQ(controller.commandCp(type, value, item), result);
    EXPECT_EQ(files(), after);
    if (!hasStore) {
      lines.insert(lines.begin(), kPrefix + "init() mStore is NULL!!");
    }
    EXPECT_EQ(log.texts(), lines);
  }
}

TEST_F(Controller, ExceptionsOfTheHookPassAndOthersAreLogged) {
  EXPECT_THROW(make({}, initThrows), std::runtime_error);
  CpPLHController controller = make({}, initNothing);
  setFiles("");
  Settings initial = {{kA, kDefault}};
  failingnew::gThrowing = 1;
  controller.init(initial);
  failingnew::gThrowing = 1;
  EXPECT_EQ(controller.commandCp(0, "", kA), 0);
  EXPECT_EQ(files(), "   ");
  EXPECT_EQ(controller.commandCp(0, "", kA), 1);  // would hang if it were still locked
  EXPECT_EQ(files(), kDefault + "   ");
  EXPECT_EQ(mLog.texts(), (Lines{kPrefix + "init() exception std::bad_alloc\n",
                                 kPrefix + "commandCp() exception std::bad_alloc\n"}));
}

TEST_F(Controller, WhatTheStoreThrowsIsLogged) {
  CpPLHController controller = make({}, initNothing);
  Settings initial = {{kA, "x"}};
  {
    const OtherStore store([](char*) -> int { throw 1; });
    controller.init(initial);
    EXPECT_EQ(controller.commandCp(2, "x", kA), 0);
  }
  EXPECT_EQ(controller.commandCp(2, "x", kA), 1);  // it was not disabled
  EXPECT_EQ(mLog.texts(), (Lines{kPrefix + "init() unknown exception\n",
                                 kPrefix + "commandCp() unknown exception\n"}));
}

TEST_F(Controller, WritesOfNodesByPathTellOnlyOfTheOpening) {
  std::string value = "value";
  const std::tuple<std::string, int> cases[] = {
      {mFolder + "a", 0}, {"/dev/full", 0}, {"/nowhere/node", -1}};
  for (auto [path, result] : cases) {
    EXPECT_EQ(CpPLHController::updateSysNodes(path.data(), value), result) << path;
  }
  EXPECT_EQ(CpPLHController::updateSysNodes(nullptr, value), -1);
  EXPECT_EQ(files(), "value   ");
  EXPECT_EQ(mLog.texts(), cannotOpen("/nowhere/node"));
}

TEST_F(Controller, APathMayFillTheWholeBuffer) {
  CpPLHController controller = make({}, initNothing);
  const std::string path = mFolder + std::string(kConfigValueSize - mFolder.size(), 'x');
  const OtherStore store([&](char* out) { return path.copy(out, kConfigValueSize), 0; });
  EXPECT_EQ(controller.commandCp(2, "v", kA), 1);
  EXPECT_EQ(access(path.c_str(), F_OK), 0);
}

/** A device's core library was compiled without this project's headers: only places matter. */
TEST_F(Controller, LookUpIsTheStoresThirdVirtualFunction) {
  using LookUp = int (*)(ConfigStore*, int, char*);
  ConfigStore* const store = DynamicLoader::getInstance()->mStore;
  char path[kConfigValueSize] = {};
  EXPECT_EQ((*reinterpret_cast<LookUp**>(store))[2](store, kFull, path), 0);
  EXPECT_STREQ(path, "/dev/full");
}

TEST_F(Controller, ACommandWaitsUntilTheOneBeforeItIsWritten) {
  const std::string path = mFolder + "a";
  mkfifo(path.c_str(), 0600);
  const android::base::unique_fd fifo(open(path.c_str(), O_RDWR | O_CLOEXEC));
  CpPLHController controller = make({}, initNothing);
  const auto capacity = static_cast<std::size_t>(fcntl(fifo.get(), F_GETPIPE_SZ));
  std::string text(capacity, ' ');
  const auto command = [&](const std::string& value, Item item) {
    EXPECT_EQ(controller.commandCp(2, value, item), 1);
  };
  const BackgroundCall first([&] { command(std::string(capacity + 1, 'v'), kA); });
  EXPECT_EQ(read(fifo.get(), text.data(), 1), 1);  // its write has begun and cannot end
  const BackgroundCall second([&] { command("v", kB); });
  EXPECT_TRUE(second.fallsAsleep());
  EXPECT_GT(read(fifo.get(), text.data(), capacity), 0);
}

TEST(LMOps, SubtractsAndGivesZeroOutOfRange) {
  const long edges[] = {INT_MIN, INT_MIN + 1, -2, -1, 0, 1, 2, 5, INT_MAX - 1, INT_MAX};
  for (const long a : edges) {
    for (const long b : edges) {
      const bool fits = a - b >= INT_MIN && a - b <= INT_MAX;
      EXPECT_EQ(LMOps::Subtract(static_cast<int>(a), static_cast<int>(b)), fits ? a - b : 0);
    }
  }
}

}  // namespace
