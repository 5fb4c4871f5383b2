#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <ostream>
#include <stdexcept>

#include <android-base/scopeguard.h>

#include "AsyncEventsMgr.h"
#include "Commands.h"
#include "ConfigOverrides.h"
#include "CpPLHController.h"
#include "LMDatabase.h"
#include "Output.h"
#include "config/DynamicLoader.h"
#include "config/Nodes.h"
#include "db/Db.h"
#include "demo/Steps.h"
#include "testing/PrivateProcess.h"
#include "testing/TemporaryFolder.h"
#include "watch/Summary.h"

StepResult demonstrateLookup(DemoScene& scene) {
  makeFolderPrivate("/dev");
  const auto uncover = android::base::make_scope_guard([] { umount2("/dev", MNT_DETACH); });
  mkdir("/dev/cpuset", S_IRWXU);
  mkdir("/dev/cpuset/top-app", S_IRWXU);
  std::ofstream(kForegroundTasks) << getpid() << "\n";
  std::string name;
  std::getline(std::ifstream("/proc/self/cmdline"), name, '\0');
  const auto begin = Clock::now();
  const int found = AsyncEvent::getPid(name);
  const std::string time = fixed(toUs(Clock::now() - begin) / 1000, 0) + " ms";
  scene.console.out << "found      " << found << ", lmctl itself in a sample list, after " << time
                    << "\n";
  return {"lmctl found by its name in " + time, found == getpid()};
}

StepResult demonstrateStats(DemoScene& scene) {
  std::ostream& out = scene.console.out;
  StatsProvider stats = probeQuietly();
  out << "memory     from /proc/meminfo\n";
  printTable(nlohmann::ordered_json::array({memoryFigures(stats.getMemInfo())}), out);
  if (!stats.supportsPidStats) {
    out << "SYSSTATS   this kernel does not have the netlink family\n";
    throw Missing("memory figures; no netlink family SYSSTATS here");
  }
  constexpr int kLastPid = 300;
  const std::size_t processes = stats.getPIDStatsRange(1, kLastPid).size();
  out << "SYSSTATS   " << processes << " processes with identifiers up to " << kLastPid << "\n";
  return {"memory figures, and records of " + std::to_string(processes) + " processes",
          processes > 0};
}

StepResult demonstrateStore(DemoScene& scene) {
  using Store = LMDatabase<_preKill_User_Launched_Data>;
  constexpr int kRows = 10000;
  const TemporaryFolder folder;
  Store store("launches", folder.path() + "/", "launches.db");
  if (store.LMDatabaseInit() != LMDB_SUCCESS) {
    throw std::runtime_error("cannot open a database in " + folder.path());
  }
  for (int i = 0; i < kRows; ++i) {
    const Store::Row row = {0, kNoIntcol1, "com.example.app" + std::to_string(i), "", {i}};
    store.cacheRow(std::make_unique<Store::Row>(row));
  }
  const auto begin = Clock::now();
  store.LMDatabaseWriteCachedToDisk();
  const std::string written = fixed(toUs(Clock::now() - begin) / 1000, 1) + " ms";

  LMDBDataRowKey all;
  const lmsupport::Owned<Store::vecT> rows(
      store.readAllocateDR(all, kRows, LMDB_COL_ROWID, LMDB_ASCENDING));
  scene.console.out << "written    " << kRows << " rows in " << written << ", one transaction\n"
                    << "read back  " << rows.size() << " rows\n";
  return {std::to_string(kRows) + " rows written in " + written + ", one transaction",
          rows.size() == kRows};
}

StepResult demonstrateFavourites(DemoScene& scene) {
  const std::string text = "com.mail/com.chat/=com.game/com.chat/=com.mail/com.maps/";
  overrideText(kPreferredAppsKey, text);
  const auto tables = computeFavourites({{"com.mail", 41}, {"com.chat", 17}});
  const auto& slots = tables["time_slots"];
  const auto& apps = tables["favourite_launches"];
  scene.record["favourites"] = slots;
  scene.console.out << "text       " << text << "\n\n";
  printTable(slots, scene.console.out);
  return {std::to_string(slots.size()) + " time slots and " + std::to_string(apps.size()) +
              " applications from one text",
          slots.size() == 3 && apps.size() == 4};
}

StepResult demonstrateController(DemoScene& scene) {
  const TemporaryFolder sample;
  const std::string& device = scene.options.device;
  const std::string path = (device.empty() ? sample.path() : device) + "/control";
  for (const int item : {1, 2, 3}) {
    overrideNode(item, path + std::to_string(item));
  }
  std::vector<CpPLHController::Command> initial = {{1, "powersave"}, {2, "0"}, {3, "0"}};
  CpPLHController::Command governor = {1, "performance"};
  CpPLHController::Command boost = {2, "1"};
  CpPLHController controller(initial, governor, boost, "demo", nullptr);
  controller.commandCp(CpPLHController::kFirstPreset, "", 0);
  controller.commandCp(CpPLHController::kSecondPreset, "2", 0);
  controller.commandCp(CpPLHController::kAnyItem, "7", 3);

  bool isWritten = true;
  for (const auto& [item, expected] : {std::pair{"1", "performance"}, {"2", "2"}, {"3", "7"}}) {
    std::string text;
    std::getline(std::ifstream(path + item), text);
    scene.console.out << "item " << item << "     " << text << "\n";
    isWritten = isWritten && text == expected;
  }
  return {"initial settings and 3 commands written", isWritten};
}
