#include "CpPLHController.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <fstream>
#include <functional>
#include <stdexcept>

#include "HostCore.h"
#include "config/DynamicLoader.h"
#include "testing/BackgroundCall.h"
#include "testing/LogCapture.h"
#include "testing/TemporaryFolder.h"

namespace {

using Settings = std::vector<CpPLHController::Command>;
using Lines = std::vector<std::string>;

/** Three files, two paths that cannot be opened, a node that takes nothing, and an unknown item. */
enum Item : int { kA, kB, kC, kFolder, kNowhere, kFull, kUnknown };

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
    CpPLHController::Command first(kA, "1");
    CpPLHController::Command second(kB, "2");
    return {initial, first, second, "name", hook};
  }

  std::string files() const {
    std::string texts;
    for (const char* const name : {"a", "b", "c"}) {
      std::ifstream file(mFolder + name);
      texts += std::string(std::istreambuf_iterator<char>(file), {}) + ' ';
    }
    return texts;
  }

  const TemporaryFolder mTemporary;
  const std::string mFolder = mTemporary.path() + "/";
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
      {"a hook, and a default", {}, true, initNothing, 0, "", kB, 1, "1 old old "},
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
    for (const char* const name : {"a", "b", "c"}) {
      std::ofstream(mFolder + name) << "old";
    }
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

TEST_F(Controller, ExceptionsOfTheHookPassAndThoseOfTheStoreAreLogged) {
  EXPECT_THROW(make({}, initThrows), std::runtime_error);
  CpPLHController controller = make({}, initNothing);
  Settings initial = {{kA, "x"}};
  const std::pair<std::string, std::function<int(char*)>> cases[] = {
      {"exception text\n", [](char*) -> int { throw std::runtime_error("text"); }},
      {"unknown exception\n", [](char*) -> int { throw 1; }}};
  for (const auto& [line, answer] : cases) {
    const LogCapture log;
    {
      const OtherStore store(answer);
      controller.init(initial);
      EXPECT_EQ(controller.commandCp(2, "x", kA), 0);
    }
    EXPECT_EQ(controller.commandCp(2, "x", kA), 1);  // it is neither disabled nor locked
    EXPECT_EQ(log.texts(), (Lines{kPrefix + "init() " + line, kPrefix + "commandCp() " + line}));
  }
}

TEST_F(Controller, WritesOfNodesByPathTellOnlyOfTheOpening) {
  const LogCapture log;
  std::string value = "value";
  const std::pair<std::string, int> cases[] = {
      {mFolder + "a", 0}, {"/dev/full", 0}, {"/nowhere/node", -1}};
  for (auto [path, result] : cases) {
    EXPECT_EQ(CpPLHController::updateSysNodes(path.data(), value), result) << path;
  }
  EXPECT_EQ(CpPLHController::updateSysNodes(nullptr, value), -1);
  EXPECT_EQ(files(), "value   ");
  EXPECT_EQ(log.texts(), cannotOpen("/nowhere/node"));
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
  CpPLHController controller = make({}, initNothing);
  constexpr std::size_t kTooLong = 1 << 20;  // for a pipe
  const BackgroundCall first([&] { controller.commandCp(2, std::string(kTooLong, 'v'), kA); });
  std::ifstream fifo(path);
  EXPECT_EQ(fifo.get(), 'v');  // its write has begun and cannot end
  const BackgroundCall second([&] { controller.commandCp(2, "v", kB); });
  EXPECT_TRUE(second.fallsAsleep());
  fifo.ignore(kTooLong);
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
