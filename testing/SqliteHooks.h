#pragma once

#include <string>
#include <vector>

/**
 * The SQL texts that SQLite was given. What notes them also lets calls fail: hooks::failCall knows
 * bind_int, bind_text, bind_blob, step, reset, finalize and close, which do their work first, prepare,
 * and a text's first word.
 */
inline std::vector<std::string> gSql;
