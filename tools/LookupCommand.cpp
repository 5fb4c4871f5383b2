#include "LookupCommand.h"

#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <memory>
#include <ostream>
#include <system_error>

#include "AsyncEventsMgr.h"
#include "CommandLine.h"
#include "ConfigOverrides.h"
#include "EventRecorder.h"
#include "Rows.h"

namespace {

struct LookupOptions {
  std::string name;
  bool once = false;  ///< one scan instead of up to five, 200 ms apart
  bool json = false;
};

constexpr char kSelf[] = "/proc/self/exe";
constexpr char kDemoName[] = "com.example.camera";

/** Gives the process an empty /dev of its own. Returns whether that worked. */
bool makeDevPrivate() {
  const uid_t user = geteuid();
  const gid_t group = getegid();
  if (unshare(CLONE_NEWNS) != 0) {
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) {
      return false;
    }
    std::ofstream("/proc/self/setgroups") << "deny";
    std::ofstream("/proc/self/uid_map") << "0 " << user << " 1";
    std::ofstream("/proc/self/gid_map") << "0 " << group << " 1";
  }
  return mount("", "/", "", MS_REC | MS_PRIVATE, nullptr) == 0 &&
         mount("tmpfs", "/dev", "tmpfs", 0, nullptr) == 0;
}

/** Starts this program under another name, for as long as its parent lives. */
pid_t startNamed(const char* name) {
  const pid_t process = fork();
  if (process == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    execl(kSelf, name, "watch", "thermal", "--json", nullptr);
    _exit(kFailure);
  }
  return process;
}

struct Finding {
  pid_t expected;
  int found;
  Clock::duration duration;
};

/** Runs in a process of its own: looks for a named process in a list of foreground tasks. */
Finding findInPrivateList() {
  Finding finding = {};
  if (makeDevPrivate()) {
    finding.expected = startNamed(kDemoName);
    std::filesystem::create_directories(std::filesystem::path(kForegroundTasks).parent_path());
    std::ofstream(kForegroundTasks) << getpid() << "\n" << finding.expected << "\n";
    std::string name = kDemoName;
    const auto begin = Clock::now();
    finding.found = AsyncEvent::getPid(name);
    finding.duration = Clock::now() - begin;
  }
  return finding;
}

/** Prints the identifier of a foreground process. */
int lookUpProcess(const LookupOptions& options, Console& console) {
  std::string name = options.name;
  const int pid = options.once ? AsyncEvent::getPidExpensive(name) : AsyncEvent::getPid(name);
  if (pid < 1) {
    if (const std::string problem = accessProblem(kForegroundTasks, R_OK); !problem.empty()) {
      throw std::runtime_error(problem + "; run it where the foreground tasks are listed");
    }
    throw std::runtime_error("process '" + name + "': not in " + kForegroundTasks +
                             "; bring it to the foreground");
  }
  if (options.json) {
    printJson({{"name", name}, {"pid", pid}}, console.out);
  } else {
    console.out << pid << "\n";
  }
  return kSuccess;
}

}  // namespace

void addLookup(CLI::App& app, Console& console, int& status) {
  CLI::App* const pid = app.add_subcommand(
      "pid", "Look for a process among the foreground tasks, for up to a second.");
  const auto options = std::make_shared<LookupOptions>();
  pid->add_option("NAME", options->name, "Its command's whole first word; an app's package name")
      ->required();
  pid->add_flag("--once", options->once, "Look only once, and at once");
  addJson(*pid, options->json, "an object {name, pid}");
  pid->callback([=, &console, &status] { status = lookUpProcess(*options, console); });
}

int demonstrateLookup(Console& console) {
  int ends[2];
  if (pipe(ends) != 0) {
    throw std::system_error(errno, std::system_category(), "no pipe");
  }
  const pid_t process = fork();
  if (process == 0) {
    const Finding finding = findInPrivateList();
    _exit(write(ends[1], &finding, sizeof(finding)) == sizeof(finding) ? kSuccess : kFailure);
  }
  close(ends[1]);
  Finding finding = {};
  const bool complete = read(ends[0], &finding, sizeof(finding)) == sizeof(finding);
  close(ends[0]);
  waitpid(process, nullptr, 0);
  if (!complete || finding.expected == 0) {
    console.err << "lmctl: no private mount name space; run as root or allow user name spaces\n";
    return kFailure;
  }
  const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(finding.duration).count();
  console.out << "Process lookup: " << kDemoName << " started as " << finding.expected
              << ", among the foreground tasks of a name space of its own\n"
              << "found      " << finding.found << " after " << ms << " ms\n";
  return finding.found == finding.expected ? kSuccess : kFailure;
}
