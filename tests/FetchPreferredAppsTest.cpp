#include "FetchPreferredApps.h"

#include <gmock/gmock.h>

#include <regex>

#include "FailingNew.h"
#include "HostCore.h"
#include "SqliteHooks.h"
#include "StoreFixture.h"
#include "config/DynamicLoader.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
using testing::UnorderedElementsAre;

namespace {

constexpr char kNoRow[] =
    "FetchPreferredApps: populateFavoriteApps() Couldnt allocate Data Row. May be device is low on "
    "Memory.";

class FavouriteApps : public StoreFixture {
 protected:
  FavouriteApps() {
    mFavourites.LMDatabaseInit();
    mHistory.LMDatabaseInit();
    mSlots.LMDatabaseInit();
  }

  void populate(const std::string& text) {
    hostcore::setText(kPreferredAppsKey, text);
    mApps.populateFavoriteApps(&mFavourites, &mHistory, &mSlots);
  }

  /** The favourites as "name count", in no order. */
  std::vector<std::string> favourites() {
    std::vector<std::string> rows = read(mFavourites);
    for (std::string& row : rows) {  // drops the row id, no value and no second name
      row = std::regex_replace(row, std::regex("^[0-9]+ 2147483647 (.*)  "), "$1 ");
    }
    return rows;
  }

  LaunchStore mFavourites{"favourites", mDirectory, "favourites.db"};
  LaunchStore mHistory{"history", mDirectory, "history.db"};
  SlotStore mSlots{"slots", mDirectory, "slots.db"};
  FetchPreferredApps mApps;
};

TEST_F(FavouriteApps, EachApplicationGetsItsCountAndEachEntryItsSlot) {
  for (const auto& [app, count] : {std::pair{"five", 5}, {"zero", 0}, {"twice", 2}, {"twice", 3}}) {
    add(mHistory, {.appName = app, .payload = {count}});
  }
  mHistory.writeCachedDRToDisk();
  for (int i = 0; i < 2; ++i) {  // the second replaces the first
    populate("five/zero/=twice/none/five/=\n");
    EXPECT_THAT(favourites(), UnorderedElementsAre("five 5", "zero -1", "twice -1", "none -1"));
    EXPECT_THAT(read(mSlots), ElementsAre("1 2147483647 week_day_1  five/zero/",
                                          "2 2147483647 week_end_1  twice/none/five/"));
  }
  populate("");
  EXPECT_THAT(favourites(), IsEmpty());
  EXPECT_THAT(read(mSlots), IsEmpty());
  EXPECT_THAT(mLog.texts(), IsEmpty());
}

TEST_F(FavouriteApps, EntriesWithoutADelimiterRunTogetherAndEmptyNamesMatchAll) {
  add(mHistory, {.appName = "any", .payload = {4}});
  mHistory.writeCachedDRToDisk();
  populate("com.a/com.b=com.c/");
  EXPECT_THAT(favourites(), UnorderedElementsAre("com.a -1", "com.bcom.c -1"));
  populate("com.a//");
  // The empty name is no name for a row, which is refused; it counts as the history's only row.
  EXPECT_THAT(favourites(), UnorderedElementsAre("com.a -1"));
}

TEST_F(FavouriteApps, TheNinthEntryIsReportedAndDropped) {
  populate("a/=b/=c/=d/=e/=f/=g/=h/=i/");
  const auto slots = read(mSlots);
  ASSERT_EQ(slots.size(), 8u);
  EXPECT_EQ(slots.back(), "8 2147483647 week_end_4  h/");
  EXPECT_EQ(favourites().size(), 9u);
  EXPECT_THAT(mLog.texts(), ElementsAre(kNoRow));
}

TEST_F(FavouriteApps, TextsAreCutToWhatFits) {
  for (const auto& [length, kept] : {std::pair{4095u, 4095u}, {4096u, 4095u}}) {
    populate(std::string(length, 'a'));
    EXPECT_EQ(read(mSlots).front().size(), std::string("1 2147483647 week_day_1  ").size() + kept);
  }
  for (const auto& [text, size] : {std::pair{std::string(32767, 'b'), 32767u},
                                   {std::string(32768, 'b'), 32767u},
                                   {std::string(32766, 'b') + "\n", 32766u},
                                   {std::string("\n"), 0u}}) {
    hostcore::setText(kPreferredAppsKey, text);
    EXPECT_EQ(mApps.getWeekTimePreferredApps().size(), size);
  }
  hostcore::enableText(false);
  EXPECT_EQ(mApps.getWeekTimePreferredApps(), "");
  hostcore::enableText(true);
}

TEST_F(FavouriteApps, SplittingKeepsEmptyPiecesButTheLast) {
  const std::pair<std::string, std::vector<std::string>> cases[] = {
      {"", {}},   {"a", {"a"}}, {"a=", {"a"}}, {"=a", {"", "a"}}, {"a==b", {"a", "", "b"}},
      {"=", {""}}};
  for (auto [text, pieces] : cases) {
    std::vector<std::string> out;
    EXPECT_EQ(mApps.stringSplit(text, out, '='), 0);
    EXPECT_EQ(out, pieces) << text;
  }
  std::string text = "a/b=c/=";
  std::unordered_set<std::string> apps = {"kept"};
  EXPECT_EQ(mApps.getIndividualFavApps(text, apps, '/'), 0);
  EXPECT_EQ(text, "a/bc/");
  EXPECT_THAT(apps, UnorderedElementsAre("kept", "a", "bc"));
}

TEST_F(FavouriteApps, EmptyTablesAreNotDeleted) {
  sqlitehooks::takeSql();
  EXPECT_EQ(mApps.deleteAndReBuildFavDbs(&mFavourites, &mSlots), 0);
  EXPECT_THAT(sqlitehooks::takeSql(), Not(Contains(StartsWith("DELETE"))));
  populate("a/");
  sqlitehooks::takeSql();
  EXPECT_EQ(mApps.deleteAndReBuildFavDbs(&mFavourites, &mSlots), 0);
  EXPECT_THAT(sqlitehooks::takeSql(),
              testing::IsSupersetOf({"DELETE FROM favourites ", "DELETE FROM slots "}));
}

TEST_F(FavouriteApps, MemoryThatRunsOutAnywhereIsLoggedAndLeaksNothing) {
  hostcore::setText(kPreferredAppsKey, "an application with a long name/=another application/");
  int nth = 0;
  do {
    failingnew::gThrowing = ++nth;
    mApps.populateFavoriteApps(&mFavourites, &mHistory, &mSlots);
  } while (std::exchange(failingnew::gThrowing, 0) == 0);
  EXPECT_GT(nth, 20);
  // The last had all it needed; a row that an earlier one left in the cache may be there twice.
  EXPECT_THAT(favourites(), testing::IsSupersetOf(
                                {"an application with a long name -1", "another application -1"}));
  EXPECT_GE(mLog.texts().size(), static_cast<std::size_t>(nth - 1));
  for (const int row : {1, 2}) {  // the slot's, the application's
    populate("");
    failingnew::gNothrow = row;
    populate("a/");
    EXPECT_EQ(mLog.texts().back(), kNoRow);
    EXPECT_EQ(read(mSlots).size() + favourites().size(), 1u);
  }
}

}  // namespace
