#include "NodeOverrides.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "config/NodePath.h"

NodeOverrides::NodeOverrides() : mConfigured(DynamicLoader::getInstance()->mStore) {
  DynamicLoader::getInstance()->mStore = this;
}

NodeOverrides::~NodeOverrides() { DynamicLoader::getInstance()->mStore = mConfigured; }

void NodeOverrides::set(int item, std::string path) {
  mPaths.insert_or_assign(item, std::move(path));
}

int NodeOverrides::lookup(int item, char* out) {
  if (const auto entry = mPaths.find(item); entry != mPaths.end()) {
    std::memcpy(out, entry->second.c_str(), entry->second.size() + 1);
    return 0;
  }
  return mConfigured != nullptr ? mConfigured->lookup(item, out) : -1;
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

std::string nodeProblem(int item) {
  const std::string path = lmsupport::configuredNodePath(item);
  if (path.empty()) {
    return "item " + std::to_string(item) + " is not configured";
  }
  if (access(path.c_str(), R_OK) != 0) {
    return path + ": " + std::strerror(errno);
  }
  return {};
}
