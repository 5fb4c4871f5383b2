#pragma once

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

/** A process of the same name as this one, which sleeps until this is destroyed. */
struct ForkedChild {
  ForkedChild() {
    while (pid == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      pause();
    }
  }

  ~ForkedChild() {
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
  }

  const pid_t pid = fork();
};
