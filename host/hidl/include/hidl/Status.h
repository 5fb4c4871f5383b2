#pragma once

#include <hidl/HidlSupport.h>

#include <cstdint>
#include <string>
#include <utility>

#pragma GCC visibility push(default)

namespace android::hardware {

/** The outcome of a call: success, or a failure of the transport or of the service. */
class Status final {
 public:
  enum Exception : std::int32_t {
    EX_NONE = 0,
    EX_SECURITY = -1,
    EX_BAD_PARCELABLE = -2,
    EX_ILLEGAL_ARGUMENT = -3,
    EX_NULL_POINTER = -4,
    EX_ILLEGAL_STATE = -5,
    EX_NETWORK_MAIN_THREAD = -6,
    EX_UNSUPPORTED_OPERATION = -7,
    EX_TRANSACTION_FAILED = -129,
  };

  Status() = default;

  static Status ok() { return {}; }
  static Status fromExceptionCode(std::int32_t exceptionCode, const char* message = "");

  /** OK gives ok(), any other value EX_TRANSACTION_FAILED. */
  static Status fromStatusT(status_t status);

  bool isOk() const { return mException == EX_NONE; }
  std::int32_t exceptionCode() const { return mException; }
  const char* exceptionMessage() const { return mMessage.c_str(); }

  /** The failure of the transport; OK when that did not fail. */
  status_t transactionError() const { return mTransactionError; }

  std::string description() const;

 private:
  std::int32_t mException = EX_NONE;
  status_t mTransactionError = OK;
  std::string mMessage;
};

namespace details {

/** What all Return types share. A failure that the caller does not check is not reported. */
class return_status {
 public:
  return_status() = default;
  return_status(Status status) : mStatus(std::move(status)) {}
  return_status(return_status&& other) = default;
  return_status& operator=(return_status&& other) = default;

  bool isOk() const { return mStatus.isOk(); }
  bool isDeadObject() const { return mStatus.transactionError() == DEAD_OBJECT; }
  std::string description() const { return mStatus.description(); }

 protected:
  /** Aborts after a failure. */
  void assertOk() const;

 private:
  Status mStatus;
};

}  // namespace details

/** A method's only result, or the failure of the call. */
template <typename T>
class Return : public details::return_status {
 public:
  Return(T value) : mValue(std::move(value)) {}
  Return(Status status) : return_status(std::move(status)) {}

  /** Aborts after a failure. */
  operator T() const {
    assertOk();
    return mValue;
  }

 private:
  T mValue = {};
};

template <>
class Return<void> : public details::return_status {
 public:
  Return() = default;
  Return(Status status) : return_status(std::move(status)) {}
};

inline Return<void> Void() { return {}; }

}  // namespace android::hardware

#pragma GCC visibility pop
