#include <malloc.h>

#include "Ratios.h"

/** Drops log lines in place of liblog's: writing them would take longer than what is measured. */
extern "C" int __android_log_print(int, const char*, const char*, ...) { return 0; }

namespace {

/** Stops the heap from returning memory: which benchmark fetches it again is a matter of luck. */
void keepHeap() {
  mallopt(M_TRIM_THRESHOLD, 1 << 30);
  mallopt(M_MMAP_THRESHOLD, 32 << 20);
}

}  // namespace

int main(int argc, char** argv) {
  keepHeap();
  setUpLookup();  // both before any thread
  setUpVsync();
  std::vector<Ratio> ratios = vsyncRatios();
  for (const auto& more : {lookupRatios(), controllerRatios(), databaseRatios(), statsRatios()}) {
    ratios.insert(ratios.end(), more.begin(), more.end());
  }
  return runBenchmarks(argc, argv, ratios);
}
