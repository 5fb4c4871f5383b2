#pragma once

#include <cstdint>
#include <limits>
#include <list>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "detail/LMAttributes.h"
#include "detail/LMDBLog.h"

/**
 * @file
 * Rows, keys and payloads of the row store in LMDatabase.h, which is the header to include.
 */

/** The value of intcol1 that stands for none. */
inline constexpr std::int32_t kNoIntcol1 = std::numeric_limits<std::int32_t>::max();

/** Most rows that one read returns. */
inline constexpr int kMaxRowsPerRead = 10000;

/** Payload: how often the user launched an application, or -1. */
struct LM_API _preKill_User_Launched_Data {
  std::int32_t launchCount;  ///< -1 for unknown
};

/** Payload: the favourite applications of one time slot, terminated by NUL. */
struct LM_API _preKill_Favorite_Time_Slot_Data {
  char slotText[4096];  ///< at most 4095 bytes and a NUL
};

static_assert(sizeof(_preKill_User_Launched_Data) == 4);
static_assert(sizeof(_preKill_Favorite_Time_Slot_Data) == 4096);

/** Results of the row store's operations. */
enum lmdbError : int { LMDB_SUCCESS = 0, LMDB_FAILURE = -1 };

/** Accepted and ignored by reads. @{ */
enum lmdbOrderByCol : int { LMDB_COL_INTCOL1, LMDB_COL_APPNAME, LMDB_COL_RSVDNAME, LMDB_COL_ROWID };
enum lmdbOrderByDir : int { LMDB_ASCENDING, LMDB_DESCENDING };
/** @} */

/** One row. getRow() makes one with everything but the payload set. */
template <typename T>
struct LMDBDataRow {
  static_assert(std::is_trivially_copyable_v<T>, "a payload is stored as its bytes");

  std::int64_t rowId = 0;             ///< SQLite's rowid; 0 for a row that is to be inserted
  std::int32_t intcol1 = kNoIntcol1;  ///< kNoIntcol1 for none
  std::string appName{};              ///< empty for none
  std::string rsvdName{};             ///< empty for none
  T payload;                          ///< stored as its bytes
};

/** Selects rows by all fields that are set; every row when none is. */
struct LMDBDataRowKey {
  std::int32_t intcol1 = kNoIntcol1;  ///< kNoIntcol1: not part of the key
  std::string appName{};              ///< empty: not part of the key
  std::string rsvdName{};             ///< empty: not part of the key
};

namespace lmsupport {

/** A container of pointers that owns what they point to. */
template <typename Container>
struct Owned : Container {
  Owned() = default;
  /** Takes the elements over. */
  explicit Owned(Container&& container) : Container(std::move(container)) {}
  Owned(const Owned&) = delete;
  Owned& operator=(const Owned&) = delete;
  ~Owned() {
    for (; !this->empty(); this->pop_back()) {
      delete this->back();
    }
  }
};

}  // namespace lmsupport

/** The rows of a store that wait to be written, and the name of their table. */
template <typename T>
class LM_API LMDBDataTable {
 public:
  /** Rows that were read, in the reader's ownership. */
  using vecT = std::vector<LMDBDataRow<T>*>;

  /** No row is cached at first. */
  explicit LMDBDataTable(std::string tableName) : mTableName(std::move(tableName)) {}

  /** Deletes the rows that were never written, and logs how many. */
  ~LMDBDataTable();

  LMDBDataTable(const LMDBDataTable&) = delete;
  LMDBDataTable& operator=(const LMDBDataTable&) = delete;

  /**
   * A fresh row, the caller's until it is cached; its payload is not cleared. Null, with an ERROR
   * log, without memory.
   */
  LMDBDataRow<T>* getRow();

  /**
   * Appends row to the cache, under mRowCacheLck; from then on it is the store's. Any thread may
   * call it, also during a write.
   *
   * @return LMDB_SUCCESS; LMDB_FAILURE when row is null or, with an ERROR log and row deleted, when
   *         memory is short
   */
  lmdbError cacheRow(std::unique_ptr<LMDBDataRow<T>> row);

  std::list<LMDBDataRow<T>*> mRowCache LM_GUARDED_BY(mRowCacheLck);  ///< owned; the oldest first
  std::mutex mRowCacheLck;  ///< never held during a call of SQLite
  std::string mTableName;   ///< goes into the SQL text unquoted
};

template <typename T>
LMDBDataTable<T>::~LMDBDataTable() {
  using lmsupport::detail::kLmdb;
  std::lock_guard lock(mRowCacheLck);
  if (!mRowCache.empty()) {
    __android_log_print(ANDROID_LOG_ERROR, kLmdb.tag,
                        "%s: %s() %d: ERROR:Dbt=%s blstSz=%d, clstSz=%d\n", kLmdb.component,
                        __func__, __LINE__, mTableName.c_str(), 0,
                        static_cast<int>(mRowCache.size()));
  }
  for (const LMDBDataRow<T>* const row : mRowCache) {
    delete row;
  }
}

template <typename T>
LMDBDataRow<T>* LMDBDataTable<T>::getRow() {
  using lmsupport::detail::kLmdb;
  auto* const row = new (std::nothrow) LMDBDataRow<T>;
  if (row == nullptr) {
    __android_log_print(ANDROID_LOG_ERROR, kLmdb.tag,
                        "%s: %s() %d: ERROR:Dbt=%s new operator failure, allocated=%zu\n",
                        kLmdb.component, __func__, __LINE__, mTableName.c_str(), std::size_t{0});
  }
  return row;
}

template <typename T>
lmdbError LMDBDataTable<T>::cacheRow(std::unique_ptr<LMDBDataRow<T>> row) {
  if (row == nullptr) {
    return LMDB_FAILURE;
  }
  namespace detail = lmsupport::detail;
  return lmsupport::guard(detail::kLmdb, detail::kLmdbWording, LMDB_FAILURE, [&] {
    std::lock_guard lock(mRowCacheLck);
    mRowCache.push_back(nullptr);  // may throw, while row is still owned
    mRowCache.back() = row.release();
    return LMDB_SUCCESS;
  });
}

extern template class LMDBDataTable<_preKill_User_Launched_Data>;
extern template class LMDBDataTable<_preKill_Favorite_Time_Slot_Data>;
