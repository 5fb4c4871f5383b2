#include "FetchPreferredApps.h"

#include <set>

#include "HostCore.h"
#include "config/DynamicLoader.h"
#include "testing/FailingNew.h"
#include "testing/StoreFixture.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

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

  auto favourites() { return query("SELECT appName, hex(blob) FROM favourites ORDER BY appName"); }
  auto slots() { return query("SELECT rowid, intcol1, appName, blob FROM slots"); }

  LaunchStore mFavourites{"favourites", mDirectory, "store.db"};
  LaunchStore mHistory{"history", mDirectory, "history.db"};
  SlotStore mSlots{"slots", mDirectory, "store.db"};
  FetchPreferredApps mApps;
};

TEST_F(FavouriteApps, EachApplicationGetsItsCountAndEachEntryItsSlot) {
  for (const auto& [app, count] :
       {std::pair{"five", 5}, {"once", 1}, {"zero", 0}, {"twice", 2}, {"twice", 3}}) {
    add(mHistory, {.appName = app, .payload = {count}});
  }
  mHistory.writeCachedDRToDisk();
  for (int i = 0; i < 2; ++i) {  // the second replaces the first
    gSql.clear();
    populate("five/zero/once/=twice/none/five/=\n");
    EXPECT_THAT(gSql, Contains("BEGIN IMMEDIATE TRANSACTION;").Times(2 + 5));  // one per row
    EXPECT_THAT(favourites(), ElementsAre("five|05000000|", "none|FFFFFFFF|", "once|01000000|",
                                          "twice|FFFFFFFF|", "zero|FFFFFFFF|"));
    EXPECT_THAT(slots(),
                ElementsAre("1|-|week_day_1|five/zero/once/|", "2|-|week_end_1|twice/none/five/|"));
  }
  gSql.clear();
  populate("");
  EXPECT_THAT(gSql, ElementsAre("SELECT *, rowid FROM favourites ", "SELECT *, rowid FROM slots ",
                                "DELETE FROM favourites ", "DELETE FROM slots "));
  EXPECT_THAT(favourites(), IsEmpty());
  EXPECT_THAT(slots(), IsEmpty());
  gSql.clear();
  EXPECT_EQ(mApps.deleteAndReBuildFavDbs(&mFavourites, &mSlots), 0);  // empty: nothing to delete
  EXPECT_THAT(gSql, ElementsAre("SELECT *, rowid FROM favourites ", "SELECT *, rowid FROM slots "));
  EXPECT_THAT(mLog.texts(), IsEmpty());
}

TEST_F(FavouriteApps, ClearingDeletesWhatOneOfTheTablesHas) {
  for (const std::string store : {"favourites", "slots"}) {
    query(("INSERT INTO " + store + "(appName) VALUES ('a')").c_str());
    EXPECT_EQ(mApps.deleteAndReBuildFavDbs(&mFavourites, &mSlots), 0);
    EXPECT_THAT(favourites(), IsEmpty());
    EXPECT_THAT(slots(), IsEmpty());
  }
}

TEST_F(FavouriteApps, EntriesMayRunTogetherAndThoseAfterTheEighthAreReportedAndDropped) {
  populate("a/=b/=c/=d/=e/=f/=g/=h=i/=j//");  // an empty name makes no row
  EXPECT_THAT(slots(), ElementsAre("1|-|week_day_1|a/|", "2|-|week_end_1|b/|", "3|-|week_day_2|c/|",
                                   "4|-|week_end_2|d/|", "5|-|week_day_3|e/|", "6|-|week_end_3|f/|",
                                   "7|-|week_day_4|g/|", "8|-|week_end_4|h|"));
  EXPECT_EQ(favourites().size(), 9u);
  EXPECT_THAT(favourites(), Contains("hi|FFFFFFFF|"));
  EXPECT_THAT(mLog.texts(), Contains(kNoRow).Times(2));
}

TEST_F(FavouriteApps, SplittingAppendsEachPieceButNoneBehindTheLastDelimiter) {
  std::string text = "=a==b=";
  std::vector<std::string> pieces = {"kept"};
  EXPECT_EQ(mApps.stringSplit(text, pieces, '='), 0);
  EXPECT_THAT(pieces, ElementsAre("kept", "", "a", "", "b"));
  std::unordered_set<std::string> apps = {"kept"};
  EXPECT_EQ(mApps.getIndividualFavApps(text, apps, '/'), 0);
  EXPECT_EQ(text, "ab");
  EXPECT_THAT(apps, testing::UnorderedElementsAre("kept", "ab"));
}

TEST_F(FavouriteApps, TextsAreCutToWhatFits) {
  for (const std::size_t length : {4095, 4096, 32767, 32768}) {
    populate(std::string(length, 'a') + "\n");
    const std::string kept(std::min<std::size_t>(length, 4095), 'a');
    EXPECT_THAT(slots(), ElementsAre("1|-|week_day_1|" + kept + "|"));
    EXPECT_EQ(mApps.getWeekTimePreferredApps().size(), std::min<std::size_t>(length, 32767));
  }
  hostcore::enableText(false);
  EXPECT_EQ(mApps.getWeekTimePreferredApps(), "");
  DynamicLoader::getInstance()->mFetchConfigText = [](int) -> char* { throw 1; };
  EXPECT_EQ(mApps.getWeekTimePreferredApps(), "");
  EXPECT_THAT(mLog.texts(), ElementsAre("FetchPreferredApps: getWeekTimePreferredApps() Caught "
                                        "Exception in getWeekTimePreferredApps"));
  hostcore::enableText(true);
  hostcore::clearText(kPreferredAppsKey);
  EXPECT_EQ(mApps.getWeekTimePreferredApps(), "");
}

TEST_F(FavouriteApps, MemoryThatRunsOutAnywhereIsLogged) {
  hostcore::setText(kPreferredAppsKey, "an application with a long name/=another application/");
  std::set<std::string> lastLines;
  int nth = 0;
  for (bool failed = true; failed && nth < 1000;) {
    const LogCapture log;
    failingnew::gThrowing = ++nth;
    mApps.populateFavoriteApps(&mFavourites, &mHistory, &mSlots);
    failed = std::exchange(failingnew::gThrowing, 0) == 0;
    EXPECT_EQ(log.texts().empty(), !failed);
    lastLines.insert(failed ? log.texts().back() : "");
  }
  EXPECT_GT(nth, 20);
  EXPECT_LT(nth, 1000);
  EXPECT_THAT(lastLines, Contains("FetchPreferredApps: populateFavoriteApps() Caught Exception: "
                                  "std::bad_alloc in populateFavoriteApps"));
  // A row that cannot be cached ends the population too.
  EXPECT_THAT(lastLines, Not(Contains(testing::StartsWith("LMDB: cacheRow()"))));
}

TEST_F(FavouriteApps, ASlotOrApplicationWithoutMemoryForItsRowIsLeftOut) {
  for (const int row : {1, 2}) {  // the slot's, the first application's
    populate("");
    failingnew::gNothrow = row;
    populate("a/b/");
    EXPECT_EQ(mLog.texts().back(), kNoRow);
    EXPECT_EQ(slots().size() + favourites().size(), 2u);
  }
}

}  // namespace
