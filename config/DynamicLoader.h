#pragma once

#include <cstddef>

#include "detail/LMAttributes.h"

/**
 * @file
 * What this library requires of the framework's closed core library, and nothing more. On a device
 * the core library defines DynamicLoader; on a host liblmhost.so does.
 *
 * The core library may replace mStore and mFetchConfigText at any time and must allow concurrent
 * calls, so every use starts again from getInstance() and reads the member once.
 */

/** Size of the buffer that ConfigStore::lookup fills, terminator included. */
inline constexpr std::size_t kConfigValueSize = 150;

/** Items whose values are the paths of kernel nodes. */
inline constexpr int kGfxDataNodeItem = 7;  ///< reports frames' stages
inline constexpr int kGfxCtrlNodeItem = 8;  ///< switches those reports on and off
inline constexpr int kVsyncNodeItem = 22;   ///< signals each vsync

/** Key whose text lists the user's favourite applications per time slot. */
inline constexpr int kPreferredAppsKey = 5638;

/** Turns item numbers into short texts. lookup is the third virtual function. */
class LM_API ConfigStore {
 public:
  /** Not called. @{ */
  virtual void reserved0() {}
  virtual void reserved1() {}
  /** @} */

  /**
   * Writes the value of item into out, a zero-filled buffer of kConfigValueSize bytes, with its
   * terminator. Returns 0, or another value when the item is unknown; out is then left as it was.
   */
  virtual int lookup(int item, char* out) = 0;

 protected:
  ~ConfigStore() = default;
};

/** The core library's singleton. Only getInstance() is called by name; the members are read. */
class LM_API DynamicLoader {
 public:
  /** Never null. Callable from any thread. */
  static DynamicLoader* getInstance();

  void* mReserved0[2];  ///< not read

  /** Null while the framework runs without a store. Owned by the core library. */
  ConfigStore* mStore;

  void* mReserved1[7];  ///< not read

  /**
   * Returns the text of key, allocated with malloc and owned by the caller; null for an unknown key.
   * The pointer itself may be null.
   */
  char* (*mFetchConfigText)(int key);
};

static_assert(offsetof(DynamicLoader, mStore) == 2 * sizeof(void*));
static_assert(offsetof(DynamicLoader, mFetchConfigText) == 10 * sizeof(void*));
