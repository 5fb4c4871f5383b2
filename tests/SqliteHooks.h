#pragma once

#include <string>
#include <vector>

/** What stands between the tests and SQLite: it notes every SQL text and fails calls on demand. */
namespace sqlitehooks {

/** The code of a failed call: SQLITE_IOERR. */
inline constexpr int kFailure = 10;

/**
 * Lets the nth call from now on fail: one of open, prepare, bind, step, reset, finalize, close, or
 * the first word of a text to execute. Calls that take or release something still do.
 */
void failCall(const std::string& call, int nth = 1);

/** The SQL texts since the last time. */
std::vector<std::string> takeSql();

}  // namespace sqlitehooks
