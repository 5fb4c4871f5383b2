#include <chrono>

// For their interface hashes alone, which are set when the library is loaded. Never conditional: a
// build that lost the dependency must fail, not lose the hashes.
#include <aidl/android/hardware/thermal/IThermal.h>
#include <aidl/android/hardware/thermal/IThermalChangedCallback.h>

#include "AsyncEventsMgr.h"
#include "ThermalListenerV2.h"
#include "detail/LMLog.h"
#include "events/PollingThread.h"

namespace {

constexpr auto kFetchPeriod = std::chrono::milliseconds(300);
constexpr char kThreadName[] = "LmThermalEvent";

}  // namespace

ThermalEvent* ThermalEvent::getInstance() {
  static ThermalEvent instance;
  return &instance;
}

ThermalEvent::ThermalEvent() = default;

ThermalEvent::~ThermalEvent() = default;

void ThermalEvent::startThread() {
  ThermalListenerV2::getInstance()->resetThermalData();
  lmsupport::startPollingThread(mThread, this, kThreadName, lmsupport::kAsyncEventsMgrThermal);
}

void ThermalEvent::pollingThreadFunc(ThermalEvent* source) {
  if (source == nullptr) {
    return;
  }
  while (source->analyseThreadState() != THREAD_EXIT) {
    ThermalListenerV2::getInstance()->getThermalData();
    std::this_thread::sleep_for(kFetchPeriod);
  }
}
