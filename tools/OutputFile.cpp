#include "OutputFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace {

void require(bool isDone, const std::string& path) {
  if (!isDone) {
    throw std::runtime_error("cannot write " + path +
                             (errno != 0 ? std::string(": ") + std::strerror(errno) : ""));
  }
}

/** Writes text to file and closes it; returns whether all of it was written. */
bool write(std::FILE* file, const std::string& text) {
  const bool isWritten = std::fwrite(text.data(), 1, text.size(), file) == text.size();
  return std::fclose(file) == 0 && isWritten;
}

/** A new file beside path, with the mode and owner of its plain file; null where that cannot be. */
std::FILE* openBeside(std::string& path, std::FILE* plainFile) {
  struct stat old;
  if (fstat(fileno(plainFile), &old) != 0 || !S_ISREG(old.st_mode)) {
    return nullptr;
  }
  path += ".XXXXXX";
  const int file = mkostemp(path.data(), O_CLOEXEC);
  if (fchown(file, old.st_uid, old.st_gid) == 0 && fchmod(file, old.st_mode) == 0) {
    return fdopen(file, "w");
  }
  if (file >= 0) {
    close(file);
    unlink(path.c_str());
  }
  return nullptr;
}

}  // namespace

bool isStandardOutput(const std::string& path) {
  struct stat named, own;
  return path == "-" || (stat(path.c_str(), &named) == 0 && fstat(STDOUT_FILENO, &own) == 0 &&
                         named.st_dev == own.st_dev && named.st_ino == own.st_ino);
}

OutputFile::OutputFile(const std::string& path, std::ostream& standardOutput)
    : mPath(path), mStandardOutput(standardOutput), mFile(nullptr, std::fclose) {
  if (isStandardOutput(path)) {
    return;
  }
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, DEFFILEMODE);
  require(file >= 0, path);
  mFile.reset(fdopen(file, "w"));
  require(mFile != nullptr, path);
}

void OutputFile::finish() {
  const std::string text = mText.str();
  errno = 0;
  if (mFile == nullptr) {
    return require((mStandardOutput << text).flush().good(), mPath);
  }
  char resolved[PATH_MAX];
  const std::string target = realpath(mPath.c_str(), resolved) != nullptr ? resolved : mPath;
  std::string temporary = target;
  if (std::FILE* const file = openBeside(temporary, mFile.get())) {
    const bool isReplaced = write(file, text) && rename(temporary.c_str(), target.c_str()) == 0;
    if (!isReplaced) {
      unlink(temporary.c_str());
    }
    return require(isReplaced, mPath);
  }
  require(ftruncate(fileno(mFile.get()), 0) == 0 || errno == EINVAL, mPath);  // no plain file
  require(write(mFile.release(), text), mPath);
}
