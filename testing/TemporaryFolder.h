#pragma once

#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>

#include "testing/Folders.h"

/** A folder that exists as long as the object, below TMPDIR, which Android's shell sets, or P_tmpdir. */
class TemporaryFolder {
 public:
  /** Throws std::runtime_error when it cannot be made. */
  TemporaryFolder() {
    const char* const parent = getenv("TMPDIR");
    mPath = std::string(parent != nullptr ? parent : P_tmpdir) + "/lmsupport-XXXXXX";
    if (mkdtemp(mPath.data()) == nullptr) {
      throw std::runtime_error("cannot make " + mPath + "; set TMPDIR to a folder you can write");
    }
  }
  ~TemporaryFolder() { removeFolder(mPath); }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::string& path() const { return mPath; }

 private:
  std::string mPath;
};
