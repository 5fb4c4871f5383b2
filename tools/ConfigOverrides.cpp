#include "ConfigOverrides.h"

#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "config/NodePath.h"

namespace {

/** For the text hook, which knows no object. */
ConfigOverrides* gOverrides = nullptr;

/** Whether reading may mean to wait. The kernel's own nodes look like plain files. */
bool mayBlock(const std::string& path) {
  struct stat file;
  struct statfs fileSystem;
  if (stat(path.c_str(), &file) != 0 || statfs(path.c_str(), &fileSystem) != 0) {
    return false;
  }
  switch (fileSystem.f_type) {
    case SYSFS_MAGIC:
    case PROC_SUPER_MAGIC:
    case DEBUGFS_MAGIC:
    case TRACEFS_MAGIC:
      return S_ISREG(file.st_mode);
    default:
      return S_ISFIFO(file.st_mode) || S_ISCHR(file.st_mode);
  }
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
  return ::access(path.c_str(), access) != 0 ? path + ": " + std::strerror(errno) : "";
}

std::string nodeProblem(int item, int access) {
  const std::string path = lmsupport::configuredNodePath(item);
  return path.empty() ? "item " + std::to_string(item) + " is not configured"
                      : accessProblem(path, access);
}

std::string blockingNodeProblem(int item) {
  std::string problem = nodeProblem(item, R_OK);
  const std::string path = lmsupport::configuredNodePath(item);
  if (problem.empty() && !mayBlock(path)) {
    problem = path + ": neither a kernel node nor a FIFO";
  }
  return problem;
}
