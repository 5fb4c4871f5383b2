#pragma once

#include <linux/genetlink.h>
#include <linux/netlink.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

using Bytes = std::string;
using Attributes = std::vector<std::pair<std::uint16_t, Bytes>>;  ///< types and payloads

/**
 * A kernel behind libnl's netlink sockets while it lives: the generic-netlink controller, and one
 * family with answers that a test gives. It also notes what the library releases.
 * hooks::failCall knows libnl's functions by their names; they fail with -5 or null.
 */
class FakeKernel {
 public:
  FakeKernel();
  ~FakeKernel();

  static constexpr std::uint16_t kFamilyId = 42;
  /** A message of a dump (NLM_F_MULTI) or the only one. */
  static Bytes message(const Attributes& attributes, std::uint16_t flags = 0,
                       std::uint16_t family = kFamilyId);
  static Bytes done();            ///< the end of a dump
  static Bytes error(int error);  ///< an error, or with 0 an acknowledgement

  Bytes name = "SYSSTATS";            ///< the family's
  int version = 2;                    ///< the family's
  std::vector<Bytes> answer;          ///< datagrams that answer every request to the family
  nlmsghdr header = {};               ///< that of the last request
  Bytes request;                      ///< the rest of it
  std::vector<std::string> released;  ///< names of the functions called

  /** For the hooks: takes a request, and the datagrams that wait for a reader. */
  void take(const Bytes& datagram);
  std::vector<Bytes> waiting;
};
