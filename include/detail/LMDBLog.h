#pragma once

#include "LMGuard.h"

/**
 * @file
 * Log lines of the row store in LMDatabase.h, which is the header to include.
 */

namespace lmsupport::detail {

/** Where the row store's log lines come from. */
inline constexpr LogSource kLmdb = {"ANDR-PERF", "LMDB"};

/** How the row store words the exceptions that it catches: mostly, in queries, in their clause. @{ */
inline constexpr CaughtWording kLmdbWording = {"%s: %s() %d: Caught exception: %s in %s",
                                               "%s: %s() %d: Caught Exception in %s"};
inline constexpr CaughtWording kLmdbQueryWording = {
    "%s: %s() %d: Caught exception: %s in %s",
    "%s: %s() %d: Error in std::string operations in %s"};
inline constexpr CaughtWording kLmdbClauseWording = {
    "%s: %s() %d: Caught exception: %s", "%s: %s() %d: Error in std::string operations"};
/** @} */

}  // namespace lmsupport::detail
