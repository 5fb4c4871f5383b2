#include "FakeKernel.h"

#include <netlink/attr.h>
#include <netlink/cache.h>
#include <netlink/genl/ctrl.h>
#include <netlink/genl/family.h>
#include <netlink/genl/genl.h>
#include <netlink/msg.h>
#include <netlink/socket.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstring>

#include "Hooks.h"

namespace {

constexpr int kFamilyId = 42;

FakeKernel* gKernel = nullptr;

Bytes bytesOf(nl_msg* message) {
  const auto* const header = reinterpret_cast<const char*>(nlmsg_hdr(message));
  const Bytes bytes(header, header + nlmsg_hdr(message)->nlmsg_len);
  nlmsg_free(message);
  return bytes;
}

bool isFaked(int fd) {
  int domain = 0;
  socklen_t size = sizeof(domain);
  return gKernel != nullptr && getsockopt(fd, SOL_SOCKET, SO_DOMAIN, &domain, &size) == 0 &&
         domain == AF_NETLINK;
}

}  // namespace

FakeKernel::FakeKernel() { gKernel = this; }

FakeKernel::~FakeKernel() { gKernel = nullptr; }

Bytes FakeKernel::message(const std::vector<std::pair<int, std::string>>& attributes, bool multi) {
  const hooks::Call uncounted;
  nl_msg* const message = nlmsg_alloc_size(65536);
  genlmsg_put(message, mAsked.nlmsg_pid, mAsked.nlmsg_seq, mAsked.nlmsg_type, 0,
              multi ? NLM_F_MULTI : 0, 1, 2);
  for (const auto& [type, payload] : attributes) {
    nla_put(message, type, static_cast<int>(payload.size()), payload.data());
  }
  return bytesOf(message);
}

Bytes FakeKernel::done() {
  nl_msg* const message = nlmsg_alloc();
  nlmsg_put(message, mAsked.nlmsg_pid, mAsked.nlmsg_seq, NLMSG_DONE, sizeof(int), NLM_F_MULTI);
  return bytesOf(message);
}

Bytes FakeKernel::error(int error) {
  nl_msg* const message = nlmsg_alloc();
  const nlmsgerr payload = {.error = error, .msg = mAsked};
  std::memcpy(nlmsg_data(nlmsg_put(message, mAsked.nlmsg_pid, mAsked.nlmsg_seq, NLMSG_ERROR,
                                   sizeof(payload), 0)),
              &payload, sizeof(payload));
  return bytesOf(message);
}

void FakeKernel::take(Bytes datagram) {
  std::memcpy(&mAsked, datagram.data(), sizeof(mAsked));
  waiting.clear();  // of a socket that was closed since
  if (mAsked.nlmsg_type == GENL_ID_CTRL) {
    answerController(mAsked);
    return;
  }
  request = std::move(datagram);
  const auto datagrams = answer();
  waiting.insert(waiting.end(), datagrams.begin(), datagrams.end());
}

void FakeKernel::answerController(const nlmsghdr& header) {
  const bool isDump = (header.nlmsg_flags & NLM_F_DUMP) == NLM_F_DUMP;
  if (version != kNoFamily) {
    nl_msg* const family = nlmsg_alloc();
    genlmsg_put(family, header.nlmsg_pid, header.nlmsg_seq, GENL_ID_CTRL, 0,
                isDump ? NLM_F_MULTI : 0, CTRL_CMD_NEWFAMILY, 2);
    nla_put_u16(family, CTRL_ATTR_FAMILY_ID, kFamilyId);
    nla_put_string(family, CTRL_ATTR_FAMILY_NAME, "SYSSTATS");
    nla_put_u32(family, CTRL_ATTR_VERSION, static_cast<std::uint32_t>(version));
    waiting.push_back(bytesOf(family));
  }
  if (isDump) {
    waiting.push_back(done());
  } else {
    waiting.push_back(error(version != kNoFamily ? 0 : -ENOENT));
  }
}

#define FAIL_INSTEAD(result, name, failure, parameters, arguments) \
  result name parameters {                                         \
    const hooks::Call call;                                        \
    return call.fails(#name) ? failure : REAL(name) arguments;     \
  }
#define NOTE(name, type)                            \
  void name(type* object) {                         \
    const hooks::Call call;                         \
    if (gKernel != nullptr && call.isOutermost()) { \
      gKernel->released.emplace_back(#name);        \
    }                                               \
    REAL(name)(object);                             \
  }

extern "C" {

constexpr int kFailure = FakeKernel::kFailure;
FAIL_INSTEAD(nl_sock*, nl_socket_alloc, nullptr, (), ())
FAIL_INSTEAD(int, genl_connect, kFailure, (nl_sock * socket), (socket))
FAIL_INSTEAD(int, genl_ctrl_alloc_cache, kFailure, (nl_sock * socket, nl_cache** cache),
             (socket, cache))
FAIL_INSTEAD(int, genl_ctrl_resolve, kFailure, (nl_sock * socket, const char* name), (socket, name))
FAIL_INSTEAD(nl_msg*, nlmsg_alloc, nullptr, (), ())
FAIL_INSTEAD(void*, genlmsg_put, nullptr,
             (nl_msg * message, uint32_t port, uint32_t seq, int family, int size, int flags,
              uint8_t command, uint8_t version),
             (message, port, seq, family, size, flags, command, version))
FAIL_INSTEAD(int, nla_put, kFailure, (nl_msg * message, int type, int size, const void* data),
             (message, type, size, data))
FAIL_INSTEAD(int, nla_put_u32, kFailure, (nl_msg * message, int type, uint32_t value),
             (message, type, value))
FAIL_INSTEAD(int, nl_send_auto, kFailure, (nl_sock * socket, nl_msg* message), (socket, message))
FAIL_INSTEAD(nl_cb*, nl_cb_alloc, nullptr, (nl_cb_kind kind), (kind))
FAIL_INSTEAD(int, nl_cb_set, kFailure,
             (nl_cb * callbacks, nl_cb_type type, nl_cb_kind kind, nl_recvmsg_msg_cb_t function,
              void* arg),
             (callbacks, type, kind, function, arg))
FAIL_INSTEAD(int, nl_cb_err, kFailure,
             (nl_cb * callbacks, nl_cb_kind kind, nl_recvmsg_err_cb_t function, void* arg),
             (callbacks, kind, function, arg))
FAIL_INSTEAD(int, nl_recvmsgs, kFailure, (nl_sock * socket, nl_cb* callbacks), (socket, callbacks))
NOTE(nl_socket_free, nl_sock)
NOTE(nl_cache_free, nl_cache)
NOTE(genl_family_put, genl_family)
NOTE(nlmsg_free, nl_msg)
NOTE(nl_cb_put, nl_cb)

ssize_t sendmsg(int fd, const msghdr* message, int flags) {
  if (!isFaked(fd)) {
    return REAL(sendmsg)(fd, message, flags);
  }
  const hooks::Call uncounted;
  const auto* const data = static_cast<const char*>(message->msg_iov[0].iov_base);
  gKernel->take(Bytes(data, data + message->msg_iov[0].iov_len));
  return static_cast<ssize_t>(message->msg_iov[0].iov_len);
}

ssize_t recvmsg(int fd, msghdr* message, int flags) {
  if (!isFaked(fd)) {
    return REAL(recvmsg)(fd, message, flags);
  }
  if (gKernel->waiting.empty()) {
    errno = EAGAIN;
    return -1;
  }
  const Bytes datagram = gKernel->waiting.front();
  iovec& buffer = message->msg_iov[0];
  std::copy_n(datagram.data(), std::min(datagram.size(), buffer.iov_len),
              static_cast<char*>(buffer.iov_base));
  if ((flags & MSG_PEEK) == 0) {
    gKernel->waiting.pop_front();
  }
  const sockaddr_nl kernel = {.nl_family = AF_NETLINK, .nl_pad = 0, .nl_pid = 0, .nl_groups = 0};
  std::memcpy(message->msg_name, &kernel, sizeof(kernel));
  message->msg_namelen = sizeof(kernel);
  message->msg_controllen = 0;
  message->msg_flags = datagram.size() > buffer.iov_len ? MSG_TRUNC : 0;
  return static_cast<ssize_t>(datagram.size());
}

}  // extern "C"
