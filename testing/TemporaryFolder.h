#pragma once

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

/** A folder that exists as long as the object. */
class TemporaryFolder {
 public:
  /** Throws std::runtime_error when it cannot be made. */
  TemporaryFolder() : mPath(std::filesystem::temp_directory_path() / "lmsupport-XXXXXX") {
    if (mkdtemp(mPath.data()) == nullptr) {
      throw std::runtime_error("cannot make " + mPath + "; set TMPDIR to a folder you can write");
    }
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(mPath, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::string& path() const { return mPath; }

 private:
  std::string mPath;
};
