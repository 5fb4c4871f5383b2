#include "StatsProvider.h"

#include <netlink/cache.h>
#include <netlink/genl/ctrl.h>
#include <netlink/genl/family.h>
#include <netlink/genl/genl.h>
#include <netlink/msg.h>
#include <netlink/netlink.h>
#include <netlink/socket.h>

#include <cstring>
#include <iterator>
#include <memory>

#include "detail/LMLog.h"

using lmsupport::kStatsProvider;

namespace {

constexpr char kFamilyName[] = "SYSSTATS";
constexpr int kRequestVersion = 2;
constexpr int kNoValue = -1;

enum RequestType : int { kPidStats, kSysStats, kPidStatsRange, kPidsByName };

/** What sendRecvData returns, by what could not be done. */
enum RequestError : int { kNotBegun = -1, kNotConnected = -2, kNotSent = -3, kNotReceived = -4 };

struct Request {
  int flags;
  std::uint8_t command;
  int attribute;
};

/** By request type. The system's attribute type 0 is what the kernel expects. */
constexpr Request kRequests[] = {
    {NLM_F_REQUEST, 1, 1},
    {NLM_F_REQUEST, 3, 0},
    {NLM_F_REQUEST | NLM_F_DUMP, 1, 2},
    {NLM_F_REQUEST | NLM_F_DUMP, 5, 3},
};

template <auto release>
struct Release {
  template <typename T>
  void operator()(T* object) const {
    release(object);
  }
};

// Several are released in the reverse order of their declarations.
using SocketPtr = std::unique_ptr<nl_sock, Release<nl_socket_free>>;
using CachePtr = std::unique_ptr<nl_cache, Release<nl_cache_free>>;
using FamilyPtr = std::unique_ptr<genl_family, Release<genl_family_put>>;
using MessagePtr = std::unique_ptr<nl_msg, Release<nlmsg_free>>;
using CallbacksPtr = std::unique_ptr<nl_cb, Release<nl_cb_put>>;

/** What the steps of a request log as. */
constexpr char kSendRecvData[] = "sendRecvData";

/** Connects to the kernel; returns the family's identifier, or a RequestError. */
int connect(nl_sock* socket) {
  const int result = genl_connect(socket);
  if (result < 0) {
    LM_LOGE_AS(kStatsProvider, kSendRecvData, __LINE__, "genl_connect() failed return=%d", result);
    return kNotConnected;
  }
  const int family = genl_ctrl_resolve(socket, kFamilyName);
  if (family < 0) {
    LM_LOGE_AS(kStatsProvider, kSendRecvData, __LINE__, "Unable to resolve taskstats family id %d",
               family);
    return kNotConnected;
  }
  return family;
}

/** Makes message the request of that type to the family. */
int makeRequest(nl_msg* message, int family, int type, int value, const char* processName) {
  const Request& request = kRequests[type];
  if (genlmsg_put(message, NL_AUTO_PORT, NL_AUTO_SEQ, family, 0, request.flags, request.command,
                  kRequestVersion) == nullptr) {
    LM_LOGE_AS(kStatsProvider, kSendRecvData, __LINE__, "genlmsg_put() failed");
    return kNotSent;
  }
  if (type != kPidsByName) {
    const auto word = static_cast<std::uint32_t>(value);
    return nla_put_u32(message, request.attribute, word) < 0 ? kNotSent : 0;
  }
  if (processName == nullptr) {
    LM_LOGE_AS(kStatsProvider, kSendRecvData, __LINE__,
               "Client sent an invalid Processname to get PID");
    return kNotSent;
  }
  const auto length = static_cast<int>(std::strlen(processName));
  return nla_put(message, request.attribute, length, processName) < 0 ? kNotSent : 0;
}

/** Waits for the answer and has it parsed into parserArg. */
int receive(nl_sock* socket, int& family, void* parserArg) {
  const CallbacksPtr callbacks(nl_cb_alloc(NL_CB_CUSTOM));
  if (callbacks == nullptr) {
    LM_LOGE_AS(kStatsProvider, kSendRecvData, __LINE__, "nl_cb_alloc() failed");
    return kNotSent;
  }
  int result = nl_cb_set(callbacks.get(), NL_CB_VALID, NL_CB_CUSTOM, stats_parser, parserArg);
  if (result < 0) {
    LM_LOGE_AS(kStatsProvider, kSendRecvData, __LINE__, "nl_cb_set failed return=%d", result);
    return kNotReceived;
  }
  result = nl_cb_err(callbacks.get(), NL_CB_CUSTOM, stats_nl_error_callback, &family);
  if (result < 0) {
    LM_LOGE_AS(kStatsProvider, kSendRecvData, __LINE__, "nl_cb_err failed return=%d", result);
    return kNotReceived;
  }
  result = nl_recvmsgs(socket, callbacks.get());
  if (result < 0) {
    LM_LOGE_AS(kStatsProvider, kSendRecvData, __LINE__, "nl_recvmsgs failed return=%d", result);
    return kNotReceived;
  }
  return 0;
}

/** Sends a request for an operation, in whose name it logs a failure. Returns whether it worked. */
bool request(StatsProvider& stats, RequestType type, int value, const char* processName,
             void* answer, const char* operation = __builtin_FUNCTION(),
             int line = __builtin_LINE()) {
  const int error = stats.sendRecvData(type, value, processName, answer);
  if (error != 0) {
    LM_LOGE_AS(kStatsProvider, operation, line, "sendRecvData returned error = %d", error);
  }
  return error == 0;
}

}  // namespace

StatsProvider::StatsProvider()
    : supportsPidStats(isApiSupported(1)),
      supportsSysStats(isApiSupported(1)),
      supportsPidStatsRange(isApiSupported(1)),
      supportsPidsByName(isApiSupported(2)) {}

StatsProvider::~StatsProvider() = default;

bool StatsProvider::isApiSupported(int version) {
  const SocketPtr socket(nl_socket_alloc());
  if (socket == nullptr) {
    LM_LOGE(kStatsProvider, "nl_socket_alloc() failed");
    return false;
  }
  int result = genl_connect(socket.get());
  if (result < 0) {
    LM_LOGE(kStatsProvider, "genl_connect() failed return=%d", result);
    return false;
  }
  nl_cache* families = nullptr;
  result = genl_ctrl_alloc_cache(socket.get(), &families);
  if (result < 0) {
    LM_LOGE(kStatsProvider, "populated cache = %d", result);
    return false;
  }
  const CachePtr cache(families);
  const FamilyPtr family(genl_ctrl_search_by_name(cache.get(), kFamilyName));
  if (family == nullptr) {
    LM_LOGE(kStatsProvider, "No matching entry for ctrl cache with family name : %s", kFamilyName);
    return false;
  }
  return version <= static_cast<std::uint8_t>(genl_family_get_version(family.get()));
}

PidStatsRecord StatsProvider::getPIDStats(int pid) {
  PidStatsRecord record = {};
  if (supportsPidStats) {
    request(*this, kPidStats, pid, "", &record);
  }
  return record;
}

SysStatsRecord StatsProvider::getSysStats() {
  SysStatsRecord record = {};
  if (supportsSysStats) {
    request(*this, kSysStats, kNoValue, "", &record);
  }
  return record;
}

std::vector<PidStatsRecord> StatsProvider::getPIDStatsRange(int first, int second) {
  std::vector<PidStatsRecord> records;
  if (supportsPidStatsRange) {
    const std::uint32_t bounds =
        (static_cast<std::uint32_t>(first) & 0xFFFF) | static_cast<std::uint32_t>(second) << 16;
    request(*this, kPidStatsRange, static_cast<int>(bounds), "", &records);
  }
  return records;
}

int StatsProvider::getPIDsRange(const char* processName, std::vector<sysstats_pid>& pids) {
  return supportsPidsByName && request(*this, kPidsByName, kNoValue, processName, &pids) ? 0 : -1;
}

int StatsProvider::sendRecvData(int type, int value, const char* processName, void* parserArg) {
  if (parserArg == nullptr) {
    LM_LOGE(kStatsProvider, "parser_arg is NULL");
    return kNotBegun;
  }
  if (static_cast<unsigned>(type) >= std::size(kRequests)) {
    LM_LOGE(kStatsProvider, "Unknown command type");
    return kNotBegun;
  }
  const SocketPtr socket(nl_socket_alloc());
  if (socket == nullptr) {
    LM_LOGE(kStatsProvider, "nl_socket_alloc() failed");
    return kNotBegun;
  }
  int family = connect(socket.get());
  if (family < 0) {
    return family;
  }
  const MessagePtr message(nlmsg_alloc());
  if (message == nullptr) {
    LM_LOGE(kStatsProvider, "nlmsg_alloc() failed");
    return kNotConnected;
  }
  if (const int error = makeRequest(message.get(), family, type, value, processName); error != 0) {
    return error;
  }
  if (nl_send_auto(socket.get(), message.get()) < 0) {
    return kNotSent;
  }
  return receive(socket.get(), family, parserArg);
}
