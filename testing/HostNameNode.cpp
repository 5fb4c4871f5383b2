#include "testing/HostNameNode.h"

#include <sched.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>
#include <system_error>

namespace {

bool setHostName() {
  static constexpr std::string_view kName = "vsync";
  return sethostname(kName.data(), kName.size()) == 0;
}

}  // namespace

HostNameNode::HostNameNode() {
  const bool isPrivate = unshare(CLONE_NEWUTS) == 0 || unshare(CLONE_NEWUTS | CLONE_NEWUSER) == 0;
  if (!isPrivate || !setHostName()) {
    throw std::system_error(errno, std::system_category(),
                            "no private UTS namespace; run as root or allow user namespaces");
  }
}

void HostNameNode::notify() const { setHostName(); }
