#pragma once

#include <string>
#include <unordered_set>
#include <vector>

#include "LMDatabase.h"
#include "detail/LMAttributes.h"

/**
 * Turns the framework's text of favourite applications per time slot into two tables.
 *
 * The text holds up to eight entries, separated by "=", in the order week_day_1, week_end_1,
 * week_day_2, … week_end_4; an entry is a list of application names, each followed by "/".
 *
 * Nothing is kept between calls and nothing is locked but the stores' caches: one population at a
 * time for a set of stores. The stores are open, and stay the caller's; a null one crashes.
 * Nothing is thrown; what fails is logged.
 *
 * Note: an entry that does not end with "/" runs into the next one when the applications are told
 * apart: "com.a/com.b=com.c" has the applications com.a and com.bcom.c.
 *
 * Note: "//" gives an application without a name: its look-up matches the whole history, and the
 * store refuses and logs its row.
 *
 * Note: a name goes into the look-up's SQL text between single quotes as it is: what follows a "'"
 * in it is SQL. Mostly that is not valid, which is logged, and the count is -1.
 *
 * This header needs exceptions, as LMDatabase.h does.
 */
class LM_API FetchPreferredApps {
 public:
  /** The stores of launch counts and of slots' texts. @{ */
  using LaunchStore = LMDatabase<_preKill_User_Launched_Data>;
  using SlotStore = LMDatabase<_preKill_Favorite_Time_Slot_Data>;
  /** @} */

  /** Fetches the configured text, cut to 32767 bytes, without a newline at its end. Empty without one.
   */
  std::string getWeekTimePreferredApps();

  /**
   * Appends the pieces of text between delimiters to out, empty ones included; a delimiter at the
   * end adds none. Returns 0.
   */
  int stringSplit(std::string& text, std::vector<std::string>& out, char delimiter);

  /** Removes every "=" from text and adds the pieces between delimiters to out. Returns 0. */
  int getIndividualFavApps(std::string& text, std::unordered_set<std::string>& out, char delimiter);

  /**
   * Empties both tables, unless both are empty.
   *
   * Note: a failed read counts as no rows, so it may leave rows behind, as a failed deletion does.
   *
   * @return 0; what fails is logged by the stores
   */
  int deleteAndReBuildFavDbs(LaunchStore* favouriteLaunches, SlotStore* timeSlots);

  /**
   * Replaces both favourite tables by what the configured text says: a row with each slot's text,
   * and a row with the launch count of each distinct application.
   *
   * The count is -1 unless launchHistory has exactly one row for the application, with a count
   * above 0. Blocks for the disk once per row, as each is a transaction of its own.
   *
   * Note: each entry after the eighth is dropped, and logged with the text for a lack of memory.
   *
   * Note: rows that deleteAndReBuildFavDbs() leaves behind stay beside the new ones.
   *
   * @param favouriteLaunches emptied and written
   * @param launchHistory     read
   * @param timeSlots         emptied and written; texts are cut to 4095 bytes
   */
  void populateFavoriteApps(LaunchStore* favouriteLaunches, LaunchStore* launchHistory,
                            SlotStore* timeSlots);
};
