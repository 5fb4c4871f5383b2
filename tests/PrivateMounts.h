#pragma once

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <fstream>

/** Gives the process mounts of its own, as root or, while it has one thread, as anybody. */
inline void makeMountsPrivate() {
  const uid_t user = geteuid();
  const gid_t group = getegid();
  if (unshare(CLONE_NEWNS) != 0) {
    ASSERT_EQ(unshare(CLONE_NEWUSER | CLONE_NEWNS), 0);
    std::ofstream("/proc/self/setgroups") << "deny";
    std::ofstream("/proc/self/uid_map") << "0 " << user << " 1";
    std::ofstream("/proc/self/gid_map") << "0 " << group << " 1";
  }
  ASSERT_EQ(mount("", "/", "", MS_REC | MS_PRIVATE, nullptr), 0);
}
