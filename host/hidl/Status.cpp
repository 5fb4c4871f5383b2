#include <hidl/Status.h>

#include <sstream>

namespace android::hardware {

Status Status::fromExceptionCode(std::int32_t exceptionCode, const char* message) {
  Status status;
  status.mException = exceptionCode;
  status.mMessage = message;
  return status;
}

Status Status::fromStatusT(status_t error) {
  Status status;
  status.mException = error == OK ? EX_NONE : EX_TRANSACTION_FAILED;
  status.mTransactionError = error;
  return status;
}

std::string Status::description() const {
  if (isOk()) {
    return "no error";
  }
  std::ostringstream text;
  text << "exception " << mException;
  if (mTransactionError != OK) {
    text << ", transport error " << mTransactionError;
  }
  if (!mMessage.empty()) {
    text << ": " << mMessage;
  }
  return text.str();
}

namespace details {

void return_status::assertOk() const {
  if (!isOk()) {
    fail("the value of a failed HIDL call was read: " + description());
  }
}

}  // namespace details

}  // namespace android::hardware
