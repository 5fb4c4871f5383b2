#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <unistd.h>
#include <uv.h>

#include <android-base/unique_fd.h>

#include <atomic>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "AsyncEventsMgr.h"
#include "HostCore.h"
#include "Latency.h"
#include "Ratios.h"
#include "config/DynamicLoader.h"
#include "testing/HostNameNode.h"

namespace {

/** Made in setUpVsync(), before any thread starts. */
const HostNameNode* gNode;

void raiseVsync() { gNode->notify(); }

void onEvent(int, void*, int, void*) { noteArrival(); }

class VsyncReceiver {
 public:
  VsyncReceiver() {
    mSource.registerCallBack(onEvent, nullptr);
    mSource.startEvent(onEvent);
  }

  ~VsyncReceiver() {
    mSource.setThreadState(THREAD_EXIT);
    gNode->notify();
  }

 private:
  VsyncEvent mSource;
};

/** The limit: only the system calls. */
class BareReceiver {
 public:
  ~BareReceiver() {
    mStopped = true;
    gNode->notify();
    mThread.join();
  }

 private:
  void run() {
    const android::base::unique_fd fd(open(HostNameNode::kPath, O_RDONLY));
    pollfd entry = {.fd = fd.get(), .events = POLLPRI, .revents = 0};
    while (!mStopped) {
      poll(&entry, 1, -1);
      char text[512];
      benchmark::DoNotOptimize(read(fd.get(), text, sizeof(text)));
      noteArrival();
      lseek(fd.get(), 0, SEEK_SET);
    }
  }

  std::atomic<bool> mStopped = false;
  std::thread mThread{[this] { run(); }};
};

/** What a user would pick otherwise. */
class UvReceiver {
 public:
  UvReceiver() : mFd(open(HostNameNode::kPath, O_RDONLY)) {
    uv_loop_init(&mLoop);
    uv_poll_init(&mLoop, &mPoll, mFd.get());
    uv_poll_start(&mPoll, UV_PRIORITIZED, [](uv_poll_t* handle, int, int) {
      int fd = -1;
      uv_fileno(reinterpret_cast<uv_handle_t*>(handle), &fd);
      char text[512];
      benchmark::DoNotOptimize(read(fd, text, sizeof(text)));
      noteArrival();
      lseek(fd, 0, SEEK_SET);
    });
    uv_async_init(&mLoop, &mStop, [](uv_async_t* handle) { uv_stop(handle->loop); });
    mThread = std::thread([this] { uv_run(&mLoop, UV_RUN_DEFAULT); });
  }

  ~UvReceiver() {
    uv_async_send(&mStop);
    mThread.join();
    uv_close(reinterpret_cast<uv_handle_t*>(&mPoll), nullptr);
    uv_close(reinterpret_cast<uv_handle_t*>(&mStop), nullptr);
    uv_run(&mLoop, UV_RUN_DEFAULT);
    uv_loop_close(&mLoop);
  }

 private:
  const android::base::unique_fd mFd;
  uv_loop_t mLoop;
  uv_poll_t mPoll;
  uv_async_t mStop;
  std::thread mThread;
};

void latencyVsyncEvent(benchmark::State& state) { latency<VsyncReceiver>(state, raiseVsync); }
void latencyBareLoop(benchmark::State& state) { latency<BareReceiver>(state, raiseVsync); }
void latencyLibuv(benchmark::State& state) { latency<UvReceiver>(state, raiseVsync); }

template <std::size_t>
void count(int, void*, int, void* counter) {
  ++*static_cast<std::uint64_t*>(counter);
}

template <std::size_t... I>
std::vector<AsyncEventCallback> distinctCallbacks(std::index_sequence<I...>) {
  return {count<I>...};
}

std::vector<AsyncEventCallback> callbacks(const benchmark::State& state) {
  auto all = distinctCallbacks(std::make_index_sequence<256>());
  all.resize(static_cast<std::size_t>(state.range(0)));
  return all;
}

void countCalls(benchmark::State& state) {
  state.counters["per_call"] =
      benchmark::Counter(static_cast<double>(state.iterations() * state.range(0)),
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

/** A source without a thread, whose delivery the benchmark calls itself. */
class ThreadlessSource : public VsyncEvent {
 public:
  void startThread() override {}
};

void dispatchVsyncEvent(benchmark::State& state) {
  std::uint64_t calls = 0;
  ThreadlessSource source;
  for (const AsyncEventCallback cb : callbacks(state)) {
    source.registerCallBack(cb, &calls);
    source.startEvent(cb);
  }
  for (auto _ : state) {
    source.processCb();
  }
  benchmark::DoNotOptimize(calls);
  countCalls(state);
}

/** The limit: a locked array of pairs. */
void dispatchArray(benchmark::State& state) {
  std::uint64_t calls = 0;
  std::vector<std::pair<AsyncEventCallback, void*>> clients;
  for (const AsyncEventCallback cb : callbacks(state)) {
    clients.emplace_back(cb, &calls);
  }
  std::mutex lock;
  for (auto _ : state) {
    std::lock_guard guard(lock);
    for (const auto& [cb, userData] : clients) {
      cb(1, nullptr, 0, userData);
    }
  }
  benchmark::DoNotOptimize(calls);
  countCalls(state);
}

void startAndPause(benchmark::State& state) {
  ThreadlessSource source;
  source.registerCallBack(onEvent, nullptr);
  for (auto _ : state) {
    source.startEvent(onEvent);
    source.pauseEvent(onEvent);
  }
}

/** Processor time and context switches of every thread but this one. */
std::pair<double, long> othersUsage() {
  rusage all;
  rusage own;
  getrusage(RUSAGE_SELF, &all);
  getrusage(RUSAGE_THREAD, &own);
  const auto cpuUs = [](const rusage& usage) {
    return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1e6 +
           static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec);
  };
  return {cpuUs(all) - cpuUs(own), all.ru_nvcsw + all.ru_nivcsw - own.ru_nvcsw - own.ru_nivcsw};
}

void pausedFor5s(benchmark::State& state) {
  VsyncEvent source;
  source.registerCallBack(onEvent, nullptr);
  source.startEvent(onEvent);
  waitForReceiver(raiseVsync);
  source.pauseEvent(onEvent);
  gNode->notify();  // ends the poll that was under way: the thread goes to sleep
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  const auto [cpuBefore, switchesBefore] = othersUsage();
  for (auto _ : state) {
    std::this_thread::sleep_for(std::chrono::seconds(5));
  }
  const auto [cpuAfter, switchesAfter] = othersUsage();
  state.counters["cpu_us"] = cpuAfter - cpuBefore;
  state.counters["switches"] = static_cast<double>(switchesAfter - switchesBefore);
  source.setThreadState(THREAD_EXIT);
  source.startEvent(onEvent);
  gNode->notify();
}

BENCHMARK(latencyVsyncEvent)->Apply(latencyRuns);
BENCHMARK(latencyBareLoop)->Apply(latencyRuns);
BENCHMARK(latencyLibuv)->Apply(latencyRuns);
BENCHMARK(dispatchVsyncEvent)->Arg(1)->Arg(16)->Arg(256);
BENCHMARK(dispatchArray)->Arg(1)->Arg(16)->Arg(256);
BENCHMARK(startAndPause);
BENCHMARK(pausedFor5s)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace

void setUpVsync() {
  static const HostNameNode node;
  gNode = &node;
  hostcore::setItem(kVsyncNodeItem, HostNameNode::kPath);
}

std::vector<Ratio> vsyncRatios() {
  return {{"latencyVsyncEvent", "latencyBareLoop", "p50_us", "<= 1.05"},
          {"latencyVsyncEvent", "latencyLibuv", "p50_us", "< 1"},
          {"latencyVsyncEvent", "latencyLibuv", "p99_us", ""},
          {"dispatchVsyncEvent/1", "dispatchArray/1", "", ""},
          {"dispatchVsyncEvent/16", "dispatchArray/16", "", ""},
          {"dispatchVsyncEvent/256", "dispatchArray/256", "", ""}};
}
