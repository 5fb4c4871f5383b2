#include "testing/HostNameNode.h"

#include <sched.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>
#include <system_error>

HostNameNode::HostNameNode() {
  if (unshare(CLONE_NEWUTS) != 0 && unshare(CLONE_NEWUTS | CLONE_NEWUSER) != 0) {
    throw std::system_error(errno, std::system_category(),
                            "no private UTS namespace; run as root or allow user namespaces");
  }
}

void HostNameNode::notify() const {
  static constexpr std::string_view kName = "vsync";
  [[maybe_unused]] const int ignored = sethostname(kName.data(), kName.size());
}
