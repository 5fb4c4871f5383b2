#pragma once

#include <linux/genetlink.h>
#include <linux/netlink.h>

#include <deque>
#include <functional>
#include <string>
#include <utility>
#include <vector>

/** A netlink message's bytes. */
using Bytes = std::vector<char>;
using Datagrams = std::vector<Bytes>;

/**
 * A kernel behind libnl's netlink sockets while it lives: the generic-netlink controller, and the
 * family "SYSSTATS" with answers that a test gives. It also notes what the library releases.
 * hooks::failCall knows libnl's functions by their names; they fail with kFailure or null.
 */
class FakeKernel {
 public:
  static constexpr int kFailure = -5;
  static constexpr int kNoFamily = -1;

  FakeKernel();
  ~FakeKernel();
  FakeKernel(const FakeKernel&) = delete;
  FakeKernel& operator=(const FakeKernel&) = delete;

  /** An answer's message with attributes of (type, payload); part of a dump or the only one. */
  Bytes message(const std::vector<std::pair<int, std::string>>& attributes, bool multi = false);
  Bytes done();            ///< the end of a dump
  Bytes error(int error);  ///< an error, or with 0 an acknowledgement

  int version = 2;                    ///< the family's; kNoFamily for none
  std::function<Datagrams()> answer;  ///< datagrams that answer a request
  Bytes request;                      ///< the last one to the family
  std::vector<std::string> released;  ///< names of the functions called

  /** For the hooks: takes a request, and the datagrams that wait for a reader. */
  void take(Bytes datagram);
  std::deque<Bytes> waiting;

 private:
  void answerController(const nlmsghdr& header);

  nlmsghdr mAsked{};  ///< header of the request being answered
};
