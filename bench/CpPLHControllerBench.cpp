#include <fcntl.h>
#include <unistd.h>

#include <android-base/unique_fd.h>

#include <string>

#include "CpPLHController.h"
#include "HostCore.h"
#include "Ratios.h"

namespace {

constexpr int kItem = 1;
constexpr char kValue[] = "1";

/** A kernel node that anybody may write to, and a plain file in memory. */
constexpr const char* kNodes[] = {"/proc/self/timerslack_ns", "/dev/shm/lmsupport_bench"};

void* initNothing() { return nullptr; }

void commandCp(benchmark::State& state) {
  hostcore::setItem(kItem, kNodes[state.range(0)]);
  std::vector<CpPLHController::Command> initial;
  CpPLHController::Command preset(kItem, kValue);
  CpPLHController controller(initial, preset, preset, "bench", initNothing);
  for (auto _ : state) {
    if (controller.commandCp(0, "", 0) != 1) {
      state.SkipWithError("not written");
    }
  }
}

/** The limit: only the system calls. */
void bareWrite(benchmark::State& state) {
  const char* const path = kNodes[state.range(0)];
  for (auto _ : state) {
    const android::base::unique_fd node(open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
    if (write(node.get(), kValue, sizeof(kValue) - 1) != sizeof(kValue) - 1) {
      state.SkipWithError("not written");
    }
  }
}

void repeat(benchmark::internal::Benchmark* benchmark) {
  benchmark->DenseRange(0, 1)->ArgName("")->MinTime(0.02)->Repetitions(51);
}

BENCHMARK(commandCp)->Apply(repeat);
BENCHMARK(bareWrite)->Apply(repeat);

}  // namespace

std::vector<Ratio> controllerRatios() {
  return {{"commandCp/0", "bareWrite/0", "", "<= 1.20"},
          {"commandCp/1", "bareWrite/1", "", "<= 1.20"}};
}
