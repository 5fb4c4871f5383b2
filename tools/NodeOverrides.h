#pragma once

#include <string>
#include <unordered_map>

#include "config/DynamicLoader.h"

/**
 * Node paths given on the command line, put in front of the configuration store of whichever core
 * library is there, for this process and as long as the object lives. Set them before the library
 * looks them up: there is no lock.
 */
class NodeOverrides final : public ConfigStore {
 public:
  NodeOverrides();
  ~NodeOverrides();
  NodeOverrides(const NodeOverrides&) = delete;
  NodeOverrides& operator=(const NodeOverrides&) = delete;

  /** Sets the path of item, a text for which nodePathProblem() is empty. */
  void set(int item, std::string path);

  int lookup(int item, char* out) override;

 private:
  ConfigStore* const mConfigured;
  std::unordered_map<int, std::string> mPaths;
};

/** Why path cannot be an item's value, or nothing. */
std::string nodePathProblem(const std::string& path);

/** Why the node configured for item cannot be read, or nothing. */
std::string nodeProblem(int item);
