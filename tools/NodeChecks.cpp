#include "NodeChecks.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <linux/major.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <stdexcept>

#include "config/Nodes.h"

namespace {

/** What kind of file is at path, and the device that it stands for; zeros when there is none. */
struct stat fileAt(const std::string& path) {
  struct stat file = {};
  stat(path.c_str(), &file);
  return file;
}

/** Whether it is one of the kernel's own nodes, which look like plain files. */
bool isKernelNode(const std::string& path) {
  struct statfs fileSystem = {};
  statfs(path.c_str(), &fileSystem);
  const auto type = fileSystem.f_type;
  return S_ISREG(fileAt(path).st_mode) && (type == SYSFS_MAGIC || type == PROC_SUPER_MAGIC ||
                                           type == DEBUGFS_MAGIC || type == TRACEFS_MAGIC);
}

/** Whether reading may mean to wait. */
bool mayBlock(const std::string& path) {
  const struct stat file = fileAt(path);
  const bool isDevice = S_ISCHR(file.st_mode) && major(file.st_rdev) != MEM_MAJOR;
  return isDevice || S_ISFIFO(file.st_mode) || isKernelNode(path);
}

/** Why the item's node cannot be read, or kind, which it must be of, when it is not. */
std::string kindProblem(int item, bool (*isOfKind)(const std::string& path), const char* kind) {
  const std::string problem = nodeProblem(item, R_OK);
  const std::string path = lmsupport::configuredNodePath(item);
  return problem.empty() && !isOfKind(path) ? path + ": " + kind : problem;
}

}  // namespace

std::string accessProblem(const std::string& path, int access) {
  const mode_t mode = fileAt(path).st_mode;
  if (S_ISDIR(mode)) {
    return path + ": " + std::strerror(EISDIR);
  }
  const int flags = (access == W_OK ? O_WRONLY : O_RDONLY) | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
  // Opening a FIFO may wait, and writers are ended by a reader that leaves.
  const bool isGood = S_ISFIFO(mode) ? ::access(path.c_str(), access) == 0
                                     : android::base::unique_fd(open(path.c_str(), flags)).ok();
  return isGood ? "" : path + ": " + std::strerror(errno);
}

std::string readText(const std::string& path) {
  if (path == "-") {
    return {std::istreambuf_iterator<char>(std::cin), {}};
  }
  if (const std::string problem = accessProblem(path, R_OK); !problem.empty()) {
    throw std::runtime_error(problem);
  }
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::string nodeProblem(int item, int access) {
  const std::string path = lmsupport::configuredNodePath(item);
  return path.empty() ? "item " + std::to_string(item) + " is not configured"
                      : accessProblem(path, access);
}

std::string blockingNodeProblem(int item) {
  return kindProblem(item, mayBlock, "neither a kernel node nor a FIFO");
}

std::string notifyingNodeProblem(int item) {
  return kindProblem(item, isKernelNode, "not a kernel node");
}

android::base::unique_fd holdOpenIfFifo(const std::string& path) {
  const bool isFifo = S_ISFIFO(fileAt(path).st_mode);
  return android::base::unique_fd(isFifo ? open(path.c_str(), O_RDWR | O_CLOEXEC) : -1);
}
