#pragma once

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <nlohmann/json_fwd.hpp>
#include <string>

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
 * Prints a table of rows, an array of objects that have the same members: a line of the members'
 * names and a line per row, with "-" for null. A long cell moves the rest of its own row only.
 */
void printTable(const nlohmann::ordered_json& rows, std::ostream& out);

/** Prints rows as JSON or else as a table. */
void printRows(const nlohmann::ordered_json& rows, bool json, std::ostream& out);
