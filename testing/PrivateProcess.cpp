#include "testing/PrivateProcess.h"

#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <system_error>

bool unshareMounts() {
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
  return mount("", "/", "", MS_REC | MS_PRIVATE, nullptr) == 0;
}

void makeFolderPrivate(const char* path) {
  if (!unshareMounts() || mount("tmpfs", path, "tmpfs", 0, nullptr) != 0) {
    throw std::system_error(errno, std::generic_category(),
                            "no private mount namespace; run as root or allow user namespaces");
  }
}
