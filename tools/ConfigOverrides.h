#pragma once

#include <string>
#include <unordered_map>
#include <utility>

#include "config/DynamicLoader.h"

/**
 * Values given on the command line, put in front of those of whichever core library is there, for
 * this process and as long as the object lives; a later object's in front of an earlier one's. Set
 * them before the library looks them up: there is no lock.
 */
class ConfigOverrides final : public ConfigStore {
 public:
  ConfigOverrides();
  ~ConfigOverrides();
  ConfigOverrides(const ConfigOverrides&) = delete;
  ConfigOverrides& operator=(const ConfigOverrides&) = delete;

  /** Sets the path of item, at most kConfigValueSize - 1 bytes. */
  void set(int item, std::string path) { mPaths[item] = std::move(path); }

  /** Sets the text of key. */
  void setText(int key, std::string text) { mTexts[key] = std::move(text); }

  int lookup(int item, char* out) override;

 private:
  static char* fetchText(int key);
  char* findText(int key) const;

  ConfigOverrides* const mOuter;
  ConfigStore* const mConfiguredStore;
  char* (*const mConfiguredFetchText)(int key);
  std::unordered_map<int, std::string> mPaths;
  std::unordered_map<int, std::string> mTexts;
};
