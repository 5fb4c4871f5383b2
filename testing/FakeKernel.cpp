#include "testing/FakeKernel.h"

#include <netlink/cache.h>
#include <netlink/genl/ctrl.h>
#include <netlink/genl/family.h>
#include <netlink/genl/genl.h>
#include <netlink/msg.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstddef>
#include <cstring>

#include "testing/Hooks.h"

namespace {

FakeKernel* gKernel = nullptr;

template <typename T>
Bytes bytesOf(const T& value) {
  return Bytes(reinterpret_cast<const char*>(&value), sizeof(value));
}

Bytes netlinkMessage(std::uint16_t type, std::uint16_t flags, const Bytes& payload) {
  const auto size = static_cast<std::uint32_t>(NLMSG_HDRLEN + payload.size());
  return bytesOf(nlmsghdr{size, type, flags, 0, 0}) + payload;
}

}  // namespace

FakeKernel::FakeKernel() { gKernel = this; }

FakeKernel::~FakeKernel() { gKernel = nullptr; }

Bytes FakeKernel::message(const Attributes& attributes, std::uint16_t flags, std::uint16_t family) {
  Bytes bytes = bytesOf(genlmsghdr{CTRL_CMD_NEWFAMILY, 2, 0});
  for (const auto& [type, payload] : attributes) {
    const auto size = static_cast<std::uint16_t>(NLA_HDRLEN + payload.size());
    bytes += bytesOf(nlattr{size, type}) + payload;
    bytes.resize(NLA_ALIGN(bytes.size()));
  }
  return netlinkMessage(family, flags, bytes);
}

Bytes FakeKernel::done() { return netlinkMessage(NLMSG_DONE, NLM_F_MULTI, bytesOf(0)); }

Bytes FakeKernel::error(int error) {
  return netlinkMessage(NLMSG_ERROR, 0, bytesOf(nlmsgerr{error, {}}));
}

void FakeKernel::take(const Bytes& datagram) {
  std::memcpy(&header, datagram.data(), sizeof(header));
  request = datagram.substr(NLMSG_HDRLEN);
  waiting = answer;
  if (header.nlmsg_type == GENL_ID_CTRL) {
    const std::uint16_t multi = (header.nlmsg_flags & NLM_F_DUMP) != 0 ? NLM_F_MULTI : 0;
    waiting = {message({{CTRL_ATTR_FAMILY_ID, bytesOf(kFamilyId)},
                        {CTRL_ATTR_FAMILY_NAME, Bytes(name.c_str(), name.size() + 1)},
                        {CTRL_ATTR_VERSION, bytesOf(version)}},
                       multi, GENL_ID_CTRL),
               multi != 0 ? done() : error(0)};
  }
  for (Bytes& each : waiting) {
    each.replace(offsetof(nlmsghdr, nlmsg_seq), sizeof(header.nlmsg_seq),
                 bytesOf(header.nlmsg_seq));
  }
}

#define FAILABLE(result, name, failure, parameters, arguments) \
  result name parameters {                                     \
    const hooks::Call call;                                    \
    return call.fails(#name) ? failure : REAL(name) arguments; \
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

FAILABLE(nl_sock*, nl_socket_alloc, nullptr, (), ())
FAILABLE(int, genl_connect, -5, (nl_sock * socket), (socket))
FAILABLE(int, genl_ctrl_alloc_cache, -5, (nl_sock * socket, nl_cache** cache), (socket, cache))
FAILABLE(int, genl_ctrl_resolve, -5, (nl_sock * socket, const char* name), (socket, name))
FAILABLE(nl_msg*, nlmsg_alloc, nullptr, (), ())
FAILABLE(void*, genlmsg_put, nullptr,
         (nl_msg * message, uint32_t port, uint32_t seq, int family, int size, int flags,
          uint8_t command, uint8_t version),
         (message, port, seq, family, size, flags, command, version))
FAILABLE(nlmsghdr*, nlmsg_hdr, nullptr, (nl_msg * message), (message))
FAILABLE(int, nla_put, -5, (nl_msg * message, int type, int size, const void* data),
         (message, type, size, data))
FAILABLE(int, nla_put_u32, -5, (nl_msg * message, int type, uint32_t value), (message, type, value))
FAILABLE(int, nl_send_auto, -5, (nl_sock * socket, nl_msg* message), (socket, message))
FAILABLE(nl_cb*, nl_cb_alloc, nullptr, (nl_cb_kind kind), (kind))
FAILABLE(int, nl_cb_set, -5,
         (nl_cb * all, nl_cb_type type, nl_cb_kind kind, nl_recvmsg_msg_cb_t function, void* arg),
         (all, type, kind, function, arg))
FAILABLE(int, nl_cb_err, -5,
         (nl_cb * all, nl_cb_kind kind, nl_recvmsg_err_cb_t function, void* arg),
         (all, kind, function, arg))
FAILABLE(int, nl_recvmsgs, -5, (nl_sock * socket, nl_cb* callbacks), (socket, callbacks))
NOTE(nl_socket_free, nl_sock)
NOTE(nl_cache_free, nl_cache)
NOTE(genl_family_put, genl_family)
NOTE(nlmsg_free, nl_msg)
NOTE(nl_cb_put, nl_cb)

ssize_t sendmsg(int fd, const msghdr* message, int flags) {
  if (gKernel == nullptr) {
    return REAL(sendmsg)(fd, message, flags);
  }
  const iovec& data = message->msg_iov[0];
  gKernel->take(Bytes(static_cast<const char*>(data.iov_base), data.iov_len));
  return static_cast<ssize_t>(data.iov_len);
}

ssize_t recvmsg(int fd, msghdr* message, int flags) {
  if (gKernel == nullptr) {
    return REAL(recvmsg)(fd, message, flags);
  }
  if (gKernel->waiting.empty()) {
    errno = EAGAIN;
    return -1;
  }
  const Bytes datagram = gKernel->waiting.front();
  const iovec& buffer = message->msg_iov[0];
  datagram.copy(static_cast<char*>(buffer.iov_base), buffer.iov_len);
  if ((flags & MSG_PEEK) == 0) {
    gKernel->waiting.erase(gKernel->waiting.begin());
  }
  message->msg_namelen = sizeof(sockaddr_nl);
  message->msg_flags = datagram.size() > buffer.iov_len ? MSG_TRUNC : 0;
  return static_cast<ssize_t>(datagram.size());
}

}  // extern "C"
