#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

#include "LMDatabase.h"

/** The store's own payloads. */
using LaunchPayload = _preKill_User_Launched_Data;
using SlotPayload = _preKill_Favorite_Time_Slot_Data;

/** A row that is to be put into a store. */
struct NewRow {
  std::int32_t intcol1 = kNoIntcol1;
  std::string appName{};  ///< of an application or a time slot
  std::string rsvdName{};
  std::int32_t launches = 0;
  std::string apps{};
};

struct NewRows {
  bool areSlots = false;  ///< the payload is a slot's text of applications, not a launch count
  std::vector<NewRow> rows{};
};

/** Sets a row's payload from a text. Throws UsageError for one that it cannot hold. */
void setPayload(NewRow& row, const std::string& text, bool isSlot);

/**
 * Reads rows from JSON lines as "lmctl db dump" prints them, without their rowids. Throws
 * std::runtime_error that names the line of what cannot be put into a store; name is the text's.
 */
NewRows readRows(std::istream& text, const std::string& name);

/** Puts rows into a table, which it makes if need be. Throws std::runtime_error unless all were. */
void writeRows(const std::string& file, const std::string& table, const NewRows& rows);
