#include "ConfigOverrides.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <linux/major.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "config/Nodes.h"

namespace {

/** For the text hook, which knows no object. */
ConfigOverrides* gOverrides = nullptr;

/** The kind of file at path, and its device when it stands for one; zeros when there is none. */
struct stat fileAt(const std::string& path) {
  struct stat file = {};
  stat(path.c_str(), &file);
  return file;
}

/** Whether it is one of the kernel's own nodes, which look like plain files. */
bool isKernelNode(const std::string& path) {
  struct statfs fileSystem;
  if (!S_ISREG(fileAt(path).st_mode) || statfs(path.c_str(), &fileSystem) != 0) {
    return false;
  }
  switch (fileSystem.f_type) {
    case SYSFS_MAGIC:
    case PROC_SUPER_MAGIC:
    case DEBUGFS_MAGIC:
    case TRACEFS_MAGIC:
      return true;
    default:
      return false;
  }
}

/** Whether reading may mean to wait. */
bool mayBlock(const std::string& path) {
  const struct stat file = fileAt(path);
  const bool isDevice = S_ISCHR(file.st_mode) && major(file.st_rdev) != MEM_MAJOR;
  return isDevice || S_ISFIFO(file.st_mode) || isKernelNode(path);
}

/** What nodeProblem() tells of reading, or kind, which the node must be of, when it is not. */
std::string kindProblem(int item, bool (*isOfKind)(const std::string& path), const char* kind) {
  std::string problem = nodeProblem(item, R_OK);
  const std::string path = lmsupport::configuredNodePath(item);
  if (problem.empty() && !isOfKind(path)) {
    problem = path + ": " + kind;
  }
  return problem;
}

}  // namespace

ConfigOverrides::ConfigOverrides()
    : mOuter(std::exchange(gOverrides, this)),
      mConfiguredStore(DynamicLoader::getInstance()->mStore),
      mConfiguredFetchText(DynamicLoader::getInstance()->mFetchConfigText) {
  DynamicLoader::getInstance()->mStore = this;
  DynamicLoader::getInstance()->mFetchConfigText = fetchText;
}

ConfigOverrides::~ConfigOverrides() {
  DynamicLoader::getInstance()->mStore = mConfiguredStore;
  DynamicLoader::getInstance()->mFetchConfigText = mConfiguredFetchText;
  gOverrides = mOuter;
}

void ConfigOverrides::set(int item, std::string path) {
  mPaths.insert_or_assign(item, std::move(path));
}

int ConfigOverrides::lookup(int item, char* out) {
  if (const auto entry = mPaths.find(item); entry != mPaths.end()) {
    std::memcpy(out, entry->second.c_str(), entry->second.size() + 1);
    return 0;
  }
  return mConfiguredStore != nullptr ? mConfiguredStore->lookup(item, out) : -1;
}

void ConfigOverrides::setText(int key, std::string text) {
  mTexts.insert_or_assign(key, std::move(text));
}

char* ConfigOverrides::fetchText(int key) { return gOverrides->findText(key); }

char* ConfigOverrides::findText(int key) const {
  if (const auto entry = mTexts.find(key); entry != mTexts.end()) {
    return strdup(entry->second.c_str());
  }
  if (mOuter != nullptr) {
    return mOuter->findText(key);
  }
  return mConfiguredFetchText != nullptr ? mConfiguredFetchText(key) : nullptr;
}

std::string nodePathProblem(const std::string& path) {
  if (path.empty()) {
    return "the path is empty";
  }
  if (path.size() >= kConfigValueSize) {
    return "the path is longer than " + std::to_string(kConfigValueSize - 1) + " bytes";
  }
  return {};
}

std::string accessProblem(const std::string& path, int access) {
  if (::access(path.c_str(), access) != 0) {
    return path + ": " + std::strerror(errno);
  }
  return S_ISDIR(fileAt(path).st_mode) ? path + ": " + std::strerror(EISDIR) : "";
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
