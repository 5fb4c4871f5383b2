#include <fcntl.h>
#include <libproc2/pids.h>
#include <sched.h>
#include <signal.h>
#include <spawn.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <android-base/unique_fd.h>

#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "AsyncEventsMgr.h"
#include "Ratios.h"
#include "config/Nodes.h"
#include "testing/Folders.h"
#include "testing/PrivateProcess.h"

using android::base::unique_fd;

namespace {

constexpr char kName[] = "com.example.foreground";
constexpr std::size_t kStackSize = 4096;

void require(bool held, const char* what) {
  if (!held) {
    throw std::system_error(errno, std::system_category(), what);
  }
}

/** Sleeping processes, listed as the foreground: many that share this program's memory and name, and
 * behind them one called kName. */
class Foreground {
 public:
  explicit Foreground(std::size_t count) : mStacks((count - 1) * kStackSize) {
    require(mount("none", "/dev", "tmpfs", 0, nullptr) == 0, "mount");
    const std::string list = kForegroundTasks;
    makeFolders(list.substr(0, list.rfind('/')));
    for (std::size_t i = 1; i < count; ++i) {
      mTasks.push_back(
          clone(sleepForever, &mStacks[i * kStackSize - 1] + 1, CLONE_VM | SIGCHLD, nullptr));
      require(mTasks.back() > 0, "clone");
    }
    mTasks.push_back(fork());
    if (last() == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      execl("/bin/sleep", kName, "infinity", nullptr);
      _exit(1);
    }
    for (std::ofstream tasks(kForegroundTasks); const pid_t task : mTasks) {
      tasks << task << '\n';
    }
    for (std::string name = kName; AsyncEvent::getPidExpensive(name) != last();) {
      require(waitpid(last(), nullptr, WNOHANG) == 0, "sleep");
    }
  }

  ~Foreground() {
    for (const pid_t task : mTasks) {
      kill(task, SIGKILL);
      waitpid(task, nullptr, 0);
    }
    umount2("/dev", MNT_DETACH);
  }

  Foreground(const Foreground&) = delete;
  Foreground& operator=(const Foreground&) = delete;

  const std::vector<pid_t>& tasks() const { return mTasks; }
  pid_t last() const { return mTasks.back(); }

 private:
  static int sleepForever(void*) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    for (;;) {
      pause();
    }
  }

  alignas(16) std::vector<char> mStacks;
  std::vector<pid_t> mTasks;
};

/** Looks for the last of as many processes as the benchmark's argument says. */
template <typename Search>
void measure(benchmark::State& state, const Foreground& foreground, Search search) {
  require(search() == foreground.last(), "search");  // also warms up
  for (auto _ : state) {
    benchmark::DoNotOptimize(search());
  }
}

void getPidExpensive(benchmark::State& state) {
  const Foreground foreground(static_cast<std::size_t>(state.range(0)));
  std::string name = kName;
  measure(state, foreground, [&] { return AsyncEvent::getPidExpensive(name); });
}

/** The limit: only reads the same files, those that are needed whole up to their end. */
void bareReads(benchmark::State& state) {
  const Foreground foreground(static_cast<std::size_t>(state.range(0)));
  std::vector<std::string> commandLines;
  for (const pid_t task : foreground.tasks()) {
    commandLines.push_back("/proc/" + std::to_string(task) + "/cmdline");
  }
  const std::string status = "/proc/" + std::to_string(foreground.last()) + "/status";
  std::vector<char> text(1 << 16);
  const auto readOnce = [&text](const unique_fd& file) {
    return read(file.get(), text.data(), text.size());
  };
  const auto readWhole = [&readOnce](const char* path) {
    const unique_fd file(open(path, O_RDONLY | O_CLOEXEC));
    while (readOnce(file) > 0) {
    }
  };
  measure(state, foreground, [&] {
    readWhole(kForegroundTasks);
    for (const std::string& path : commandLines) {
      require(readOnce(unique_fd(open(path.c_str(), O_RDONLY | O_CLOEXEC))) > 0, "cmdline");
    }
    readWhole(status.c_str());
    return foreground.last();
  });
}

/** What a user would pick otherwise: the library behind ps. */
void libproc2(benchmark::State& state) {
  const Foreground foreground(static_cast<std::size_t>(state.range(0)));
  measure(state, foreground, [] {
    pids_item items[] = {PIDS_ID_TGID, PIDS_CMDLINE_V};
    pids_info* info = nullptr;
    require(procps_pids_new(&info, items, 2) == 0, "procps_pids_new");
    pid_t found = -1;
    while (const pids_stack* const process = procps_pids_get(info, PIDS_FETCH_TASKS_ONLY)) {
      if (process->head[1].result.strv[0] == std::string_view(kName)) {
        found = process->head[0].result.s_int;
        break;
      }
    }
    procps_pids_unref(&info);
    return found;
  });
}

/** What a user would pick otherwise. */
void pidof(benchmark::State& state) {
  const Foreground foreground(static_cast<std::size_t>(state.range(0)));
  measure(state, foreground, [] {
    int pipe[2];
    require(pipe2(pipe, O_CLOEXEC) == 0, "pipe2");
    const unique_fd out(pipe[0]);
    unique_fd in(pipe[1]);
    const char* const arguments[] = {"pidof", kName, nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in.get(), STDOUT_FILENO);
    pid_t child = -1;
    errno = posix_spawn(&child, "/bin/pidof", &actions, nullptr,
                        const_cast<char* const*>(arguments), environ);
    require(errno == 0, "pidof");
    posix_spawn_file_actions_destroy(&actions);
    in.reset();
    char text[32] = {};
    require(read(out.get(), text, sizeof(text) - 1) >= 0, "read");
    waitpid(child, nullptr, 0);
    return atoi(text);
  });
}

void repeat(benchmark::internal::Benchmark* benchmark) {
  benchmark->Arg(10)->Arg(500)->Arg(5000)->MinTime(0.02)->Repetitions(11)->Unit(
      benchmark::kMicrosecond);
}

BENCHMARK(getPidExpensive)->Apply(repeat);
BENCHMARK(bareReads)->Apply(repeat);
BENCHMARK(libproc2)->Apply(repeat);
BENCHMARK(pidof)->Apply(repeat);

}  // namespace

void setUpLookup() { require(unshareMounts(), "no private mounts"); }

std::vector<Ratio> lookupRatios() {
  std::vector<Ratio> ratios;
  for (const std::string tasks : {"/10", "/500", "/5000"}) {
    const std::string ours = "getPidExpensive" + tasks;
    ratios.insert(ratios.end(), {{ours, "bareReads" + tasks, "", "<= 1.15"},
                                 {ours, "libproc2" + tasks, "", "<= 0.33"},
                                 {ours, "pidof" + tasks, "", "<= 0.33"}});
  }
  return ratios;
}
