#include "testing/HostNameNode.h"

#include <sched.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

HostNameNode::HostNameNode() {
  if (unshare(CLONE_NEWUTS) != 0 && unshare(CLONE_NEWUTS | CLONE_NEWUSER) != 0) {
    throw std::system_error(errno, std::system_category(),
                            "no private UTS namespace; run as root or allow user namespaces");
  }
}

void HostNameNode::notify() const { [[maybe_unused]] const int ignored = sethostname("vsync", 5); }
