#include <gtest/gtest.h>

#include <atomic>
#include <ctime>

#include "ThermalListenerV2.h"
#include "testing/Hooks.h"
#include "testing/TestSource.h"
#include "testing/Threads.h"

static std::atomic<int> gFetches;
static std::atomic<int> gResets;
static std::atomic<long> gPeriodNs;

/** Takes the place of the platform's listener. */
int ThermalListenerV2::getThermalData() { return ++gFetches; }
void ThermalListenerV2::resetThermalData() { ++gResets; }

/** Notes how long the polling thread means to sleep, and shortens that. */
extern "C" int nanosleep(const timespec* duration, timespec* rest) {
  static const auto real = REAL(nanosleep);
  if (gettid() != threadNamed("LmThermalEvent")) {
    return real(duration, rest);
  }
  EXPECT_GT(gFetches, 0) << "it sleeps before it fetches";
  gPeriodNs = duration->tv_sec * 1000000000L + duration->tv_nsec;
  const timespec shorter = {.tv_sec = 0, .tv_nsec = 1000000};
  return real(&shorter, rest);
}

namespace {

void onEvent(int, void*, int, void*) { FAIL() << "the thermal source calls nobody"; }

TEST(Thermal, FetchesEachPeriodWhileStartedAndForgetsTheDataAtEachStart) {
  gFetches = 0;
  gResets = 0;
  TestThermalSource source;
  source.registerCallBack(onEvent, nullptr);
  source.startEvent(onEvent);
  EXPECT_EQ(gResets, 1);
  waitUntil([end = gFetches + 2] { return gFetches >= end; });
  EXPECT_EQ(gPeriodNs, 300000000);
  source.pauseEvent(onEvent);
  waitUntil([] { return isAsleep("LmThermalEvent"); });
  source.startEvent(onEvent);
  EXPECT_EQ(gResets, 2);
  waitUntil([end = gFetches + 2] { return gFetches >= end; });
}

}  // namespace
