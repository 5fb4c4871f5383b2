#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include <android-base/unique_fd.h>

#include "AsyncEventsMgr.h"
#include "config/Nodes.h"
#include "detail/LMLog.h"

using android::base::unique_fd;
using lmsupport::guard;
using lmsupport::kAsyncEventsMgr;

namespace {

constexpr char kThreadGroupKey[] = "Tgid";
constexpr int kAttempts = 5;
constexpr useconds_t kAttemptDelayUs = 200000;
constexpr lmsupport::CaughtWording kMapWording = {LM_LOG_PREFIX "exception %s\n",
                                                  LM_LOG_PREFIX "Caught Exception"};

/** The path of a file that /proc has for a task. */
class TaskFile {
 public:
  TaskFile(int task, const char* name) {
    snprintf(mPath, sizeof(mPath), "/proc/%d/%s", task, name);
  }

  const char* path() const { return mPath; }

 private:
  char mPath[32];
};

/**
 * Reads the file at path into text, to its end or until isEnough(text). Returns false when it cannot
 * be opened.
 */
template <typename IsEnough>
bool readFile(const char* path, std::string& text, IsEnough isEnough) {
  text.clear();
  const unique_fd file(open(path, O_RDONLY | O_CLOEXEC));
  if (!file.ok()) {
    return false;
  }
  char part[4096];
  for (ssize_t count; !isEnough(text) && (count = read(file.get(), part, sizeof(part))) > 0;) {
    text.append(part, static_cast<std::size_t>(count));
  }
  return true;
}

constexpr auto kWhole = [](const std::string&) { return false; };
constexpr auto kToNul = [](const std::string& text) {
  return text.find('\0') != std::string::npos;
};

/**
 * Whether the first NUL-terminated field of the task's command line is name. text is scratch space.
 */
bool isNamed(int task, const std::string& name, std::string& text) {
  if (!readFile(TaskFile(task, "cmdline").path(), text, kToNul)) {
    return false;
  }
  const std::string_view field = std::string_view(text).substr(0, text.find('\0'));
  return !field.empty() && field == name;
}

/** The tasks of a list, up to the first that is no number. */
std::vector<int> parseTasks(const std::string& list) {
  std::vector<int> tasks;
  const char* next = list.c_str();
  for (char* end = nullptr;; next = end) {
    const long task = std::strtol(next, &end, 10);
    if (end == next || task < INT_MIN || task > INT_MAX) {
      return tasks;
    }
    tasks.push_back(static_cast<int>(task));
  }
}

/** The thread-group identifier: -1 without one, 0 for an unreadable one. */
int threadGroup(const std::string& status) {
  int group = -1;
  for (std::size_t key = status.find(kThreadGroupKey); key != std::string::npos;
       key = status.find(kThreadGroupKey, key + 1)) {
    const std::size_t begin = status.rfind('\n', key) + 1;
    const std::string line = status.substr(begin, status.find('\n', key) - begin);
    const long value = std::strtol(&line[line.find(':') + 1], nullptr, 10);
    group = static_cast<int>(std::clamp<long>(value, INT_MIN, INT_MAX));
  }
  return group;
}

}  // namespace

int AsyncEvent::getPid(std::string& name) {
  int pid;
  int attempts = 0;
  do {
    usleep(kAttemptDelayUs);
    pid = getPidExpensive(name);
  } while (pid <= 0 && ++attempts < kAttempts);
  setPidOnMap(name, pid);
  return pid;
}

int AsyncEvent::getPidExpensive(std::string& name) {
  return guard(kAsyncEventsMgr, lmsupport::kUsualWording, -1, [&] {
    std::string text;
    if (!readFile(kForegroundTasks, text, kWhole)) {
      return -1;
    }
    for (const int task : parseTasks(text)) {
      if (isNamed(task, name, text) && readFile(TaskFile(task, "status").path(), text, kWhole)) {
        return threadGroup(text);
      }
    }
    return -1;
  });
}

int AsyncEvent::getPidFromMap(std::string& name) {
  const auto entry = mPidMap.find(name);
  return entry != mPidMap.end() ? entry->second : -1;
}

void AsyncEvent::setPidOnMap(std::string& name, int pid) {
  guard(kAsyncEventsMgr, kMapWording, [&] { mPidMap.insert_or_assign(name, pid); });
}

void AsyncEvent::clearPidMap() { mPidMap.clear(); }
