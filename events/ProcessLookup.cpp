#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
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
 * Whether the first NUL-terminated field of the task's command line is name. field is scratch space
 * of a byte more than name has.
 */
bool isNamed(int task, const std::string& name, std::vector<char>& field) {
  const unique_fd file(open(TaskFile(task, "cmdline").path(), O_RDONLY | O_CLOEXEC));
  std::size_t size = 0;
  for (ssize_t count;
       size < field.size() && (count = read(file.get(), &field[size], field.size() - size)) > 0;) {
    size += static_cast<std::size_t>(count);
    if (std::memchr(field.data(), '\0', size) != nullptr) {
      break;
    }
  }
  const std::size_t length = strnlen(field.data(), size);
  return length > 0 && length == name.size() && std::memcmp(field.data(), name.data(), length) == 0;
}

/** Reads a whole file; returns false when it cannot be opened. */
bool readFile(const char* path, std::string& text) {
  const unique_fd file(open(path, O_RDONLY | O_CLOEXEC));
  char part[4096];
  text.clear();
  for (ssize_t count; (count = read(file.get(), part, sizeof(part))) > 0;) {
    text.append(part, static_cast<std::size_t>(count));
  }
  return file.ok();
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
  int pid = -1;
  for (int attempt = 0; attempt < kAttempts && pid <= 0; ++attempt) {
    usleep(kAttemptDelayUs);
    pid = getPidExpensive(name);
  }
  setPidOnMap(name, pid);
  return pid;
}

int AsyncEvent::getPidExpensive(std::string& name) {
  return guard(kAsyncEventsMgr, lmsupport::kUsualWording, -1, [&] {
    std::string text;
    if (!readFile(kForegroundTasks, text)) {
      return -1;
    }
    std::vector<char> field(name.size() + 1);
    for (const int task : parseTasks(text)) {
      if (isNamed(task, name, field) && readFile(TaskFile(task, "status").path(), text)) {
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
