#include "HostCore.h"

#include <cstring>
#include <mutex>
#include <stdexcept>
#include <unordered_map>

#include "config/DynamicLoader.h"

namespace {

/** Values by number, for one writer and many readers on any threads. */
class Values {
 public:
  void set(int number, std::string value) {
    std::lock_guard lock(mValuesLck);
    mValues.insert_or_assign(number, std::move(value));
  }

  void clear(int number) {
    std::lock_guard lock(mValuesLck);
    mValues.erase(number);
  }

  /** Returns found(value) under the lock, or missing. */
  template <typename Result, typename Found>
  Result find(int number, Result missing, Found found) {
    std::lock_guard lock(mValuesLck);
    const auto entry = mValues.find(number);
    return entry == mValues.end() ? missing : found(entry->second);
  }

 private:
  std::mutex mValuesLck;
  std::unordered_map<int, std::string> mValues LM_GUARDED_BY(mValuesLck);
};

class HostStore final : public ConfigStore {
 public:
  int lookup(int item, char* out) override {
    return mItems.find(item, -1, [out](const std::string& value) {
      std::memcpy(out, value.c_str(), value.size() + 1);
      return 0;
    });
  }

  Values mItems;
};

char* fetchText(int key);

struct HostCore {
  HostStore mStore;
  Values mTexts;
  DynamicLoader mLoader{{}, &mStore, {}, fetchText};
};

/** Never destroyed: the library may look things up while the process exits. */
HostCore& core() {
  static HostCore& instance = *new HostCore;
  return instance;
}

char* fetchText(int key) {
  return core().mTexts.find(key, static_cast<char*>(nullptr),
                            [](const std::string& text) { return strdup(text.c_str()); });
}

}  // namespace

DynamicLoader* DynamicLoader::getInstance() { return &core().mLoader; }

namespace hostcore {

void setItem(int item, std::string value) {
  if (value.size() >= kConfigValueSize) {
    throw std::length_error("hostcore::setItem: the value exceeds 149 bytes");
  }
  core().mStore.mItems.set(item, std::move(value));
}

void clearItem(int item) { core().mStore.mItems.clear(item); }

void setText(int key, std::string text) { core().mTexts.set(key, std::move(text)); }

void clearText(int key) { core().mTexts.clear(key); }

void enableStore(bool enabled) {
  ConfigStore* const store = enabled ? &core().mStore : nullptr;
  __atomic_store_n(&core().mLoader.mStore, store, __ATOMIC_RELEASE);
}

void enableText(bool enabled) {
  __atomic_store_n(&core().mLoader.mFetchConfigText, enabled ? fetchText : nullptr,
                   __ATOMIC_RELEASE);
}

}  // namespace hostcore
