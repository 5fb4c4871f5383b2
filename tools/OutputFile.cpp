#include "OutputFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include <android-base/unique_fd.h>

namespace {

/** Whether path leads to the file that is this process's standard output. */
bool isStandardOutput(const std::string& path) {
  struct stat named, own;
  return path == "-" || (stat(path.c_str(), &named) == 0 && fstat(STDOUT_FILENO, &own) == 0 &&
                         named.st_dev == own.st_dev && named.st_ino == own.st_ino);
}

/** The mode of a file that is made without a wish for another. */
mode_t defaultMode() {
  const mode_t mask = umask(0);
  umask(mask);
  return DEFFILEMODE & ~mask;
}

[[noreturn]] void failToWrite(const std::string& path) {
  throw std::runtime_error("cannot write " + path +
                           (errno != 0 ? std::string(": ") + std::strerror(errno) : ""));
}

}  // namespace

OutputFile::OutputFile(const std::string& path, std::ostream& standardOutput)
    : mPath(path), mStream(isStandardOutput(path) ? standardOutput : mFile) {
  if (&mStream != &mFile) {
    return;
  }
  beginTemporary();
  errno = 0;
  mFile.open(mTemporaryPath.empty() ? mPath : mTemporaryPath);
  if (!mFile.is_open()) {
    failToWrite(mPath);
  }
}

OutputFile::~OutputFile() {
  if (!mTemporaryPath.empty()) {
    unlink(mTemporaryPath.c_str());
  }
}

void OutputFile::beginTemporary() {
  struct stat old;
  const bool exists = lstat(mPath.c_str(), &old) == 0;
  char target[PATH_MAX];
  if (exists && (realpath(mPath.c_str(), target) == nullptr || stat(target, &old) != 0 ||
                 !S_ISREG(old.st_mode) || access(target, W_OK) != 0)) {
    return;
  }
  mTarget = exists ? target : mPath;
  std::string path = mTarget + ".XXXXXX";
  const android::base::unique_fd file(mkostemp(path.data(), O_CLOEXEC));
  if (!file.ok()) {
    return;
  }
  const bool keepsOwner = !exists || fchown(file.get(), old.st_uid, old.st_gid) == 0;
  const mode_t mode = exists ? old.st_mode & ALLPERMS : defaultMode();
  if (keepsOwner && fchmod(file.get(), mode) == 0) {
    mTemporaryPath = path;
  } else {
    unlink(path.c_str());
  }
}

void OutputFile::finish() {
  errno = 0;
  mStream.flush();
  if (mFile.is_open()) {
    mFile.close();
  }
  if (!mStream.good()) {
    failToWrite(mPath);
  }
  if (!mTemporaryPath.empty()) {
    if (rename(mTemporaryPath.c_str(), mTarget.c_str()) != 0) {
      failToWrite(mPath);
    }
    mTemporaryPath.clear();
  }
}
