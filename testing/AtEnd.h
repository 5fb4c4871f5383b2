#pragma once

#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <android-base/unique_fd.h>

/**
 * Has a function run when this is destroyed, or when the process ends before, however it ends. That is
 * done by another process, which whoever kills this one and its children does not find.
 */
class AtEnd {
 public:
  explicit AtEnd(void (*function)()) {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
      return;
    }
    mEnd.reset(ends[0]);
    const android::base::unique_fd other(ends[1]);
    const pid_t parent = fork();
    if (parent == 0) {
      setsid();
      if (fork() == 0) {
        mEnd.reset();
        waitForOther(other.get());
        function();
      }
      _exit(0);
    }
    waitpid(parent, nullptr, 0);
  }

  /** Returns once the function has run. */
  ~AtEnd() {
    shutdown(mEnd.get(), SHUT_WR);
    waitForOther(mEnd.get());
  }

  AtEnd(const AtEnd&) = delete;
  AtEnd& operator=(const AtEnd&) = delete;

 private:
  /** Returns when the other end is closed. */
  static void waitForOther(int end) {
    char nothing = 0;
    [[maybe_unused]] const ssize_t ignored = read(end, &nothing, sizeof(nothing));
  }

  android::base::unique_fd mEnd;
};
