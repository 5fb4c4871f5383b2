#pragma once

#include <unistd.h>

#include <string>
#include <unordered_map>

#include <android-base/unique_fd.h>

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

  /** Sets the path of item, a text for which nodePathProblem() is empty. */
  void set(int item, std::string path);

  /** Sets the text of key. */
  void setText(int key, std::string text);

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

/** Why path cannot be an item's value, or nothing. */
std::string nodePathProblem(const std::string& path);

/** Why what is at path is no file, or cannot be read (R_OK) or written (W_OK), or nothing. */
std::string accessProblem(const std::string& path, int access);

/** Why the node configured for item cannot be read (R_OK) or written (W_OK), or nothing. */
std::string nodeProblem(int item, int access);

/** As that for reading, or why a reader of the node would never have to wait. */
std::string blockingNodeProblem(int item);

/** As that for reading, or why the node can notify nobody. */
std::string notifyingNodeProblem(int item);

/**
 * A writer of the FIFO at path, without which a reader would be at its end, again and again. None
 * when it is no FIFO.
 */
android::base::unique_fd holdOpenIfFifo(const std::string& path);
