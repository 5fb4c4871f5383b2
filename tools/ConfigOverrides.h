#pragma once

#include <string>
#include <unordered_map>

#include "config/DynamicLoader.h"

/**
 * Values given on the command line, put in front of those of whichever core library is there, for
 * this process and as long as the object lives. One at a time. Set them before the library looks
 * them up: there is no lock.
 */
class ConfigOverrides final : public ConfigStore {
 public:
  ConfigOverrides();
  ~ConfigOverrides();
  ConfigOverrides(const ConfigOverrides&) = delete;
  ConfigOverrides& operator=(const ConfigOverrides&) = delete;

  /** Sets the path of item, a text for which nodePathProblem() is empty. */
  void set(int item, std::string path);

  /** Sets the text of key. */
  void setText(int key, std::string text);

  int lookup(int item, char* out) override;

 private:
  static char* fetchText(int key);

  ConfigStore* const mConfiguredStore;
  char* (*const mConfiguredFetchText)(int key);
  std::unordered_map<int, std::string> mPaths;
  std::unordered_map<int, std::string> mTexts;
};

/** Why path cannot be an item's value, or nothing. */
std::string nodePathProblem(const std::string& path);

/** Why the node configured for item cannot be read, or nothing. */
std::string nodeProblem(int item);
