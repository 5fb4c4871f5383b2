#include "ConfigOverrides.h"

#include <cstring>
#include <optional>
#include <unordered_map>

#include "config/DynamicLoader.h"

namespace {

char* fetchText(int key);

/** In the place of the core library's store and function as long as it lives. */
struct Overrides final : ConfigStore {
  Overrides() {
    DynamicLoader::getInstance()->mStore = this;
    DynamicLoader::getInstance()->mFetchConfigText = fetchText;
  }
  ~Overrides() {
    DynamicLoader::getInstance()->mStore = mStore;
    DynamicLoader::getInstance()->mFetchConfigText = mFetchText;
  }

  int lookup(int item, char* out) override {
    if (const auto entry = mPaths.find(item); entry != mPaths.end()) {
      std::memcpy(out, entry->second.c_str(), entry->second.size() + 1);
      return 0;
    }
    return mStore != nullptr ? mStore->lookup(item, out) : -1;
  }

  ConfigStore* const mStore = DynamicLoader::getInstance()->mStore;
  char* (*const mFetchText)(int key) = DynamicLoader::getInstance()->mFetchConfigText;
  std::unordered_map<int, std::string> mPaths{};
  std::unordered_map<int, std::string> mTexts{};
};

std::optional<Overrides> gOverrides;

Overrides& overrides() { return gOverrides ? *gOverrides : gOverrides.emplace(); }

char* fetchText(int key) {
  if (const auto entry = gOverrides->mTexts.find(key); entry != gOverrides->mTexts.end()) {
    return strdup(entry->second.c_str());
  }
  return gOverrides->mFetchText != nullptr ? gOverrides->mFetchText(key) : nullptr;
}

}  // namespace

void overrideNode(int item, const std::string& path) { overrides().mPaths[item] = path; }

void overrideText(int key, const std::string& text) { overrides().mTexts[key] = text; }

void clearOverrides() { gOverrides.reset(); }
