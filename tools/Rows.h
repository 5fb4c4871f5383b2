#pragma once

#include <iosfwd>
#include <nlohmann/json.hpp>

#include "LMDatabase.h"

/** Rows for a person or a program: an array of objects with the same members. */
using Rows = nlohmann::ordered_json;

/** The rows of a store that match key, each with its payload as "launches" or "slot". */
Rows readRows(LMDatabase<_preKill_User_Launched_Data>& store, LMDBDataRowKey key = {});
Rows readRows(LMDatabase<_preKill_Favorite_Time_Slot_Data>& store, LMDBDataRowKey key = {});

/** Prints rows as JSON or else as a table. */
void print(const Rows& rows, bool json, std::ostream& out);

/** Prints JSON; bytes that are not UTF-8 are replaced. */
void printJson(const Rows& rows, std::ostream& out);

/** Prints a line of member names and a line per row, in columns; "-" for null, "\x0a" for
 * a control byte. */
void printTable(const Rows& rows, std::ostream& out);
