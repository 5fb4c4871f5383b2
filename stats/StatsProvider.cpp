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

void logError(int error, const char* function = __builtin_FUNCTION(), int line = __builtin_LINE()) {
  LM_LOGE_AS(kStatsProvider, function, line, "sendRecvData returned error = %d", error);
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
  if (!supportsPidStats) {
    return record;
  }
  if (const int error = sendRecvData(kPidStats, pid, "", &record); error != 0) {
    logError(error);
  }
  return record;
}

SysStatsRecord StatsProvider::getSysStats() {
  SysStatsRecord record = {};
  if (!supportsSysStats) {
    return record;
  }
  if (const int error = sendRecvData(kSysStats, kNoValue, "", &record); error != 0) {
    logError(error);
  }
  return record;
}

std::vector<PidStatsRecord> StatsProvider::getPIDStatsRange(int first, int second) {
  std::vector<PidStatsRecord> records;
  if (!supportsPidStatsRange) {
    return records;
  }
  const std::uint32_t bounds = (static_cast<std::uint32_t>(first) & 0xFFFF) |
                               (static_cast<std::uint32_t>(second) & 0xFFFF) << 16;
  if (const int error = sendRecvData(kPidStatsRange, static_cast<int>(bounds), "", &records);
      error != 0) {
    logError(error);
  }
  return records;
}

int StatsProvider::getPIDsRange(const char* processName, std::vector<sysstats_pid>& pids) {
  if (!supportsPidsByName) {
    return -1;
  }
  if (const int error = sendRecvData(kPidsByName, kNoValue, processName, &pids); error != 0) {
    logError(error);
    return -1;
  }
  return 0;
}

int StatsProvider::sendRecvData(int type, int value, const char* processName, void* parserArg) {
  if (parserArg == nullptr) {
    LM_LOGE(kStatsProvider, "parser_arg is NULL");
    return -1;
  }
  if (static_cast<unsigned>(type) >= std::size(kRequests)) {
    LM_LOGE(kStatsProvider, "Unknown command type");
    return -1;
  }
  const Request& request = kRequests[type];

  const SocketPtr socket(nl_socket_alloc());
  if (socket == nullptr) {
    LM_LOGE(kStatsProvider, "nl_socket_alloc() failed");
    return -1;
  }
  int result = genl_connect(socket.get());
  if (result < 0) {
    LM_LOGE(kStatsProvider, "genl_connect() failed return=%d", result);
    return -2;
  }
  int family = genl_ctrl_resolve(socket.get(), kFamilyName);
  if (family < 0) {
    LM_LOGE(kStatsProvider, "Unable to resolve taskstats family id %d", family);
    return -2;
  }

  const MessagePtr message(nlmsg_alloc());
  if (message == nullptr) {
    LM_LOGE(kStatsProvider, "nlmsg_alloc() failed");
    return -2;
  }
  if (genlmsg_put(message.get(), NL_AUTO_PORT, NL_AUTO_SEQ, family, 0, request.flags,
                  request.command, kRequestVersion) == nullptr) {
    LM_LOGE(kStatsProvider, "genlmsg_put() failed");
    return -3;
  }
  if (type == kPidsByName) {
    if (processName == nullptr) {
      LM_LOGE(kStatsProvider, "Client sent an invalid Processname to get PID");
      return -3;
    }
    const auto length = static_cast<int>(std::strlen(processName));
    result = nla_put(message.get(), request.attribute, length, processName);
  } else {
    result = nla_put_u32(message.get(), request.attribute, static_cast<std::uint32_t>(value));
  }
  if (result < 0) {
    return -3;
  }
  if (nl_send_auto(socket.get(), message.get()) < 0) {
    return -3;
  }

  const CallbacksPtr callbacks(nl_cb_alloc(NL_CB_CUSTOM));
  if (callbacks == nullptr) {
    LM_LOGE(kStatsProvider, "nl_cb_alloc() failed");
    return -3;
  }
  result = nl_cb_set(callbacks.get(), NL_CB_VALID, NL_CB_CUSTOM, stats_parser, parserArg);
  if (result < 0) {
    LM_LOGE(kStatsProvider, "nl_cb_set failed return=%d", result);
    return -4;
  }
  result = nl_cb_err(callbacks.get(), NL_CB_CUSTOM, stats_nl_error_callback, &family);
  if (result < 0) {
    LM_LOGE(kStatsProvider, "nl_cb_err failed return=%d", result);
    return -4;
  }
  result = nl_recvmsgs(socket.get(), callbacks.get());
  if (result < 0) {
    LM_LOGE(kStatsProvider, "nl_recvmsgs failed return=%d", result);
    return -4;
  }
  return 0;
}
