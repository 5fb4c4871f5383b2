#include "OutputFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace {

void require(bool isDone, const std::string& path) {
  if (!isDone) {
    throw std::runtime_error("cannot write " + path +
                             (errno != 0 ? std::string(": ") + std::strerror(errno) : ""));
  }
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
    require((mStandardOutput << text).flush().good(), mPath);
    return;
  }
  require(ftruncate(fileno(mFile.get()), 0) == 0 || errno == EINVAL, mPath);  // no plain file
  require(std::fwrite(text.data(), 1, text.size(), mFile.get()) == text.size(), mPath);
  require(std::fclose(mFile.release()) == 0, mPath);
}
