#include "FetchPreferredApps.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "config/DynamicLoader.h"
#include "detail/LMLog.h"

using lmsupport::guard;
using lmsupport::kFetchPreferredApps;
using lmsupport::kUsualWording;

namespace {

constexpr std::size_t kMaxTextSize = 32767;
constexpr char kEntryDelimiter = '=';
constexpr char kAppDelimiter = '/';

constexpr std::array kSlotNames = {"week_day_1", "week_end_1", "week_day_2", "week_end_2",
                                   "week_day_3", "week_end_3", "week_day_4", "week_end_4"};

/** What the private steps log as. */
constexpr char kPopulate[] = "populateFavoriteApps";

using LaunchStore = FetchPreferredApps::LaunchStore;
using SlotStore = FetchPreferredApps::SlotStore;

template <typename T>
using OwnedRows = lmsupport::Owned<typename LMDatabase<T>::vecT>;

template <typename T>
OwnedRows<T> readRows(LMDatabase<T>& store, const std::string& appName = {}) {
  LMDBDataRowKey key;
  key.appName = appName;
  return OwnedRows<T>(store.readAllocateDR(key, kMaxRowsPerRead, LMDB_COL_ROWID, LMDB_ASCENDING));
}

/** Hands row to the store and has it written, in a transaction of its own. */
template <typename T>
void writeRow(LMDatabase<T>& store, std::unique_ptr<LMDBDataRow<T>> row) {
  if (store.cacheRow(std::move(row)) != LMDB_SUCCESS) {
    throw std::bad_alloc();  // ends the population, as a lack of memory does in any other step
  }
  store.writeCachedDRToDisk();
}

std::string fetchText() {
  const auto fetch =
      __atomic_load_n(&DynamicLoader::getInstance()->mFetchConfigText, __ATOMIC_ACQUIRE);
  if (fetch == nullptr) {
    return {};
  }
  const std::unique_ptr<char, decltype(&std::free)> fetched(fetch(kPreferredAppsKey), std::free);
  if (fetched == nullptr) {
    return {};
  }
  std::string text(fetched.get(), strnlen(fetched.get(), kMaxTextSize));
  if (!text.empty() && text.back() == '\n') {
    text.pop_back();
  }
  return text;
}

/** Calls add with each piece of text, empty ones included; a delimiter at the end adds none. */
template <typename Add>
void split(const std::string& text, char delimiter, Add add) {
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t end = std::min(text.find(delimiter, begin), text.size());
    add(text.substr(begin, end - begin));
    begin = end + 1;
  }
}

void splitApps(std::string& text, std::unordered_set<std::string>& apps, char delimiter) {
  std::erase(text, kEntryDelimiter);
  split(text, delimiter, [&](std::string app) { apps.insert(std::move(app)); });
}

void logNoRow(int line = __builtin_LINE()) {
  LM_LOGE_AS(kFetchPreferredApps, kPopulate, line,
             "Couldnt allocate Data Row. May be device is low on Memory.");
}

void writeSlots(SlotStore& timeSlots, const std::vector<std::string>& entries) {
  std::size_t stored = 0;
  for (const std::string& entry : entries) {
    std::unique_ptr<SlotStore::Row> row(timeSlots.getRow());
    if (row == nullptr || stored >= kSlotNames.size()) {
      logNoRow();
      continue;
    }
    row->appName = kSlotNames[stored];
    auto& slotText = row->payload.slotText;
    std::memset(slotText, 0, sizeof(slotText));
    entry.copy(slotText, sizeof(slotText) - 1);
    ++stored;
    writeRow(timeSlots, std::move(row));
  }
}

/** The launch count of an application; -1 unless the history has exactly one row for it, with one. */
std::int32_t launchCount(LaunchStore& launchHistory, const std::string& app) {
  const auto rows = readRows(launchHistory, app);
  const bool isKnown = rows.size() == 1 && rows.front()->payload.launchCount >= 1;
  return isKnown ? rows.front()->payload.launchCount : -1;
}

void writeApps(LaunchStore& favouriteLaunches, LaunchStore& launchHistory,
               const std::unordered_set<std::string>& apps) {
  for (const std::string& app : apps) {
    const std::int32_t count = launchCount(launchHistory, app);
    std::unique_ptr<LaunchStore::Row> row(favouriteLaunches.getRow());
    if (row == nullptr) {
      logNoRow();
      continue;
    }
    row->appName = app;
    row->payload.launchCount = count;
    writeRow(favouriteLaunches, std::move(row));
  }
}

}  // namespace

std::string FetchPreferredApps::getWeekTimePreferredApps() {
  return guard(kFetchPreferredApps, kUsualWording, std::string(), fetchText);
}

int FetchPreferredApps::stringSplit(std::string& text, std::vector<std::string>& out,
                                    char delimiter) {
  guard(kFetchPreferredApps, kUsualWording, [&] {
    split(text, delimiter, [&](std::string piece) { out.push_back(std::move(piece)); });
  });
  return 0;
}

int FetchPreferredApps::getIndividualFavApps(std::string& text,
                                             std::unordered_set<std::string>& out, char delimiter) {
  guard(kFetchPreferredApps, kUsualWording, [&] { splitApps(text, out, delimiter); });
  return 0;
}

int FetchPreferredApps::deleteAndReBuildFavDbs(LaunchStore* favouriteLaunches,
                                               SlotStore* timeSlots) {
  return guard(kFetchPreferredApps, kUsualWording, -1, [&] {
    const auto launches = readRows(*favouriteLaunches);
    const auto slots = readRows(*timeSlots);
    if (launches.empty() && slots.empty()) {
      return 0;
    }
    LMDBDataRowKey everything;
    favouriteLaunches->deleteAllDR(everything);
    timeSlots->deleteAllDR(everything);
    return 0;
  });
}

void FetchPreferredApps::populateFavoriteApps(LaunchStore* favouriteLaunches,
                                              LaunchStore* launchHistory, SlotStore* timeSlots) {
  guard(kFetchPreferredApps, kUsualWording, [&] {
    if (deleteAndReBuildFavDbs(favouriteLaunches, timeSlots) < 0) {
      LM_LOGE_AS(kFetchPreferredApps, kPopulate, __LINE__,
                 "There is some problem in deleting and Rebuilding Fav DBs");
    }
    std::string text = fetchText();
    std::vector<std::string> entries;
    split(text, kEntryDelimiter, [&](std::string entry) { entries.push_back(std::move(entry)); });
    std::unordered_set<std::string> apps;
    splitApps(text, apps, kAppDelimiter);
    writeSlots(*timeSlots, entries);
    writeApps(*favouriteLaunches, *launchHistory, apps);
  });
}
