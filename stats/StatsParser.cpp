#include <netlink/attr.h>
#include <netlink/genl/genl.h>
#include <netlink/handlers.h>
#include <netlink/msg.h>

#include <cstring>

#include "StatsProvider.h"
#include "detail/LMLog.h"

using lmsupport::guard;
using lmsupport::kStatsProvider;

namespace {

/** What the private steps log as. */
constexpr char kParser[] = "stats_parser";

enum ReplyAttribute : int { kPidRecord = 1, kListedPidRecord = 3, kSysRecord = 4, kListedPid = 5 };

/** Copies a record's size of the payload; false for a shorter one, copied as far as it goes. */
template <typename Record>
bool copyRecord(const nlattr* attribute, Record& record) {
  const int copied = nla_memcpy(&record, attribute, sizeof(record));
  if (copied == static_cast<int>(sizeof(record))) {
    return true;
  }
  LM_LOGE_AS(kStatsProvider, kParser, __LINE__, "nla_memcpy() copied only %d out of %lu bytes",
             copied, sizeof(record));
  return false;
}

template <typename Record>
bool appendRecord(const nlattr* attribute, void* records) {
  Record record = {};
  if (!copyRecord(attribute, record)) {
    return false;
  }
  static_cast<std::vector<Record>*>(records)->push_back(record);
  return true;
}

/** Puts one attribute where it goes; false for one that is too short. */
bool takeAttribute(const nlattr* attribute, void* arg) {
  switch (attribute->nla_type) {
    case kPidRecord:
      return copyRecord(attribute, *static_cast<PidStatsRecord*>(arg));
    case kListedPidRecord:
      return appendRecord<PidStatsRecord>(attribute, arg);
    case kSysRecord:
      return copyRecord(attribute, *static_cast<SysStatsRecord*>(arg));
    case kListedPid:
      return appendRecord<sysstats_pid>(attribute, arg);
    default:
      LM_LOGE_AS(kStatsProvider, kParser, __LINE__, "unknown attr type: nla_type = %d",
                 attribute->nla_type);
      return true;
  }
}

}  // namespace

int stats_parser(nl_msg* msg, void* arg) {
  if (msg == nullptr) {
    LM_LOGE(kStatsProvider, "nl_msg is NULL");
    return NL_STOP;
  }
  if (arg == nullptr) {
    LM_LOGE(kStatsProvider, "arg is NULL");
    return NL_STOP;
  }
  nlmsghdr* const header = nlmsg_hdr(msg);
  if (header == nullptr) {
    LM_LOGE(kStatsProvider, "nlmsg_hdr returned NULL");
    return NL_STOP;
  }
  return guard(kStatsProvider, lmsupport::kUsualWording, int{NL_OK}, [&]() -> int {
    const auto* const genlHeader = static_cast<const genlmsghdr*>(nlmsg_data(header));
    int remaining = genlmsg_attrlen(genlHeader, 0);
    for (const nlattr* attribute = genlmsg_attrdata(genlHeader, 0);
         nla_ok(attribute, remaining) != 0; attribute = nla_next(attribute, &remaining)) {
      if (!takeAttribute(attribute, arg)) {
        return NL_STOP;
      }
    }
    return NL_OK;
  });
}

int stats_nl_error_callback(sockaddr_nl*, nlmsgerr* error, void*) {
  LM_LOGE(kStatsProvider, "NL SOC receive error: %s", std::strerror(-error->error));
  return NL_STOP;
}
