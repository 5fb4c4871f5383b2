#include <sys/prctl.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <ostream>

#include "AsyncEventsMgr.h"
#include "config/Nodes.h"
#include "demo/Steps.h"
#include "testing/Clock.h"
#include "testing/PrivateProcess.h"

namespace {

constexpr char kSelf[] = "/proc/self/exe";
constexpr char kName[] = "com.example.camera";

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

/** Looks for a named process in a list of foreground tasks. */
Finding findInPrivateList() {
  Finding finding = {};
  if (makeFolderPrivate("/dev")) {
    finding.expected = startNamed(kName);
    std::filesystem::create_directories(std::filesystem::path(kForegroundTasks).parent_path());
    std::ofstream(kForegroundTasks) << getpid() << "\n" << finding.expected << "\n";
    std::string name = kName;
    const auto begin = Clock::now();
    finding.found = AsyncEvent::getPid(name);
    finding.duration = Clock::now() - begin;
  }
  return finding;
}

}  // namespace

StepResult demonstrateLookup(DemoScene& scene) {
  const Finding finding = runInChild(findInPrivateList);
  if (finding.expected == 0) {
    return noNameSpaces(scene);
  }
  const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(finding.duration).count();
  scene.console.out << "started    " << kName << " as " << finding.expected
                    << ", among private foreground tasks\n"
                    << "found      " << finding.found << " after " << ms << " ms\n";
  return {std::string(kName) + " found in " + std::to_string(ms) + " ms",
          outcomeOf(finding.found == finding.expected)};
}
