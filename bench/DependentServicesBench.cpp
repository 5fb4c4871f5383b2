#include "DependentServices.h"

#include <sys/prctl.h>

#include <stdexcept>
#include <thread>

#include "Ratios.h"
#include "host/hidl/TrackerBase.h"
#include "testing/Clock.h"

using android::hardware::hidl_string;
using android::hardware::hidl_vec;

namespace {

using Tracker = DependentServices::IServicetrackerV1_1;

constexpr auto kServiceTime = std::chrono::microseconds(50);

enum Work : std::int64_t { kNone, kBusy, kAsleep };

/** What the tracker does before it answers. */
std::int64_t gWork = kNone;

/** Takes some time for an answer, on a processor or, as a tracker in another process, off it. */
class SlowTracker : public TrackerBase<Tracker> {
 public:
  Result getServicePids(const Texts& services, getServicePids_cb done) override {
    if (gWork == kAsleep) {
      std::this_thread::sleep_for(kServiceTime);
    } else if (gWork == kBusy) {
      for (const auto end = Clock::now() + kServiceTime; Clock::now() < end;) {
      }
    }
    done(Status::SUCCESS, {static_cast<std::int32_t>(services.size()), 2, 3});
    return {};
  }

  Result getAllActiveServicePids(getAllActiveServicePids_cb done) override {
    done(Status::SUCCESS, {});
    return {};
  }
};

void setUpTracker(const benchmark::State& state) {
  static const android::sp<Tracker> tracker = new SlowTracker;
  gWork = state.range(0);
  if (tracker->registerAsService() != android::OK) {
    throw std::runtime_error("no tracker");
  }
}

const hidl_vec<hidl_string>& names() {
  static const hidl_vec<hidl_string> names = {"camera", "gallery"};
  return names;
}

void queryClient(benchmark::State& state) {
  prctl(PR_SET_TIMERSLACK, 1);  // of this thread's sleep
  hidl_vec<std::int32_t> pids;
  for (auto _ : state) {
    benchmark::DoNotOptimize(DependentServices().getServicePIDs(names(), pids));
  }
  state.SetItemsProcessed(state.iterations());
}

/** The limit: the same call on the proxy. */
void queryProxy(benchmark::State& state) {
  const android::sp<Tracker> tracker = Tracker::getService();
  hidl_vec<std::int32_t> pids;
  for (auto _ : state) {
    const hidl_vec<hidl_string> copy = names();  // by value, as the client takes them
    const bool arrived =
        tracker->getServicePids(copy, [&](auto, const auto& found) { pids = found; }).isOk();
    benchmark::DoNotOptimize(arrived);
  }
}

BENCHMARK(queryClient)->Setup(setUpTracker)->ArgName("work")->Arg(kNone)->Repetitions(21);
BENCHMARK(queryProxy)->Setup(setUpTracker)->ArgName("work")->Arg(kNone)->Repetitions(21);
BENCHMARK(queryClient)->Setup(setUpTracker)->ArgName("work")->Arg(kBusy)->Repetitions(21);
BENCHMARK(queryProxy)->Setup(setUpTracker)->ArgName("work")->Arg(kBusy)->Repetitions(21);
BENCHMARK(queryClient)
    ->Name("queryInParallel")
    ->Setup(setUpTracker)
    ->Arg(kAsleep)
    ->ThreadRange(1, 8)
    ->UseRealTime();

}  // namespace

std::vector<Ratio> servicesRatios() {
  return {{"queryClient/work:1", "queryProxy/work:1", "", "<= 1.05"},
          {"queryClient/work:0", "queryProxy/work:0", "", ""}};
}
