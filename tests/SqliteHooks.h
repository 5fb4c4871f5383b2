#pragma once

#include <string>
#include <vector>

/**
 * What stands between the tests and SQLite. hooks::failCall knows open, prepare, bind, step, reset,
 * finalize, close, and the first word of a text to execute. Calls that take or release something
 * still do when they fail.
 */
namespace sqlitehooks {

/** The code of a failed call: SQLITE_IOERR. */
inline constexpr int kFailure = 10;

/** The SQL texts since the last time. */
std::vector<std::string> takeSql();

}  // namespace sqlitehooks
