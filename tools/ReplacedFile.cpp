#include "ReplacedFile.h"

#include <filesystem>
#include <stdexcept>

ReplacedFile::ReplacedFile(std::string path)
    : mPath(std::move(path)), mTemporaryPath(mPath + ".tmp") {
  for (const std::string& name : {mPath, mTemporaryPath}) {
    std::error_code unreachable;
    if (std::filesystem::exists(name, unreachable) && !std::filesystem::is_regular_file(name)) {
      throw std::runtime_error(name + " is there and not a plain file; name another file");
    }
  }
  mFile.open(mTemporaryPath);
  if (!mFile.is_open()) {
    throw std::runtime_error("cannot create " + mTemporaryPath +
                             "; name a file in a folder that can be written");
  }
}

ReplacedFile::~ReplacedFile() {
  std::error_code ignored;
  std::filesystem::remove(mTemporaryPath, ignored);
}

void ReplacedFile::finish() {
  mFile.close();
  std::error_code error;
  if (mFile.good()) {
    std::filesystem::rename(mTemporaryPath, mPath, error);
  }
  if (!mFile.good() || error) {
    throw std::runtime_error("cannot write " + mPath);
  }
}
