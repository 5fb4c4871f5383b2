#include "Ratios.h"

/** Drops log lines in place of liblog's: writing them would take longer than what is measured. */
extern "C" int __android_log_print(int, const char*, const char*, ...) { return 0; }

int main(int argc, char** argv) {
  setUpLookup();  // both before any thread
  setUpVsync();
  std::vector<Ratio> ratios = vsyncRatios();
  for (const auto& more : {gfxRatios(), lookupRatios(), controllerRatios(), databaseRatios(),
                           statsRatios(), servicesRatios()}) {
    ratios.insert(ratios.end(), more.begin(), more.end());
  }
  return runBenchmarks(argc, argv, ratios);
}
