#include "ConfigOverrides.h"

#include <cstring>
#include <utility>

namespace {

/** For the text hook, which knows no object. */
ConfigOverrides* gOverrides = nullptr;

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

int ConfigOverrides::lookup(int item, char* out) {
  if (const auto entry = mPaths.find(item); entry != mPaths.end()) {
    std::memcpy(out, entry->second.c_str(), entry->second.size() + 1);
    return 0;
  }
  return mConfiguredStore != nullptr ? mConfiguredStore->lookup(item, out) : -1;
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
