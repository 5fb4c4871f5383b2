#pragma once

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <nlohmann/json_fwd.hpp>
#include <string>

#include "Console.h"

/**
 * Text without what a terminal would obey or what hides or reorders other text: such characters, and
 * bytes that are not UTF-8, as "\x1b".
 */
std::string visible(const std::string& text);

/** How many columns text takes: one for each character, none for escape sequences. */
std::size_t displayWidth(const std::string& text);

/** A number that JSON's readers keep: as text from 2^53 on, which many of them round. */
nlohmann::ordered_json exactNumber(std::uint64_t number);

/** Prints JSON; bytes that are not UTF-8 are replaced. */
void printJson(const nlohmann::ordered_json& value, std::ostream& out);

/**
 * Prints a table of rows, an array of objects that have the same members, or of one object: a line of
 * the members' names and a line per row, with "-" for null. A long cell moves the rest of its own row
 * only.
 */
void printTable(const nlohmann::ordered_json& rows, std::ostream& out);

/** Prints a command's result, which is rows or an object, as JSON or else as a table: kSuccess. */
int printResult(const nlohmann::ordered_json& result, bool json, Console& console);
