#include <android/log.h>
#include <netlink/attr.h>
#include <netlink/genl/genl.h>
#include <netlink/msg.h>

#include <algorithm>
#include <vector>

#include "StatsProvider.h"

/** Drops log lines, which would only cost time here. */
extern "C" int __android_log_print(int, const char*, const char*, ...) { return 0; }

namespace {

/** Makes attributes of other known types than kept unknown: the parser trusts its argument to fit. */
void keepType(std::uint8_t* data, std::size_t size, int kept) {
  while (size >= sizeof(nlattr)) {
    auto* const attribute = reinterpret_cast<nlattr*>(data);
    if (attribute->nla_type >= 1 && attribute->nla_type <= 5 && attribute->nla_type != kept) {
      attribute->nla_type = 9;
    }
    const std::size_t step = std::max<std::size_t>(NLA_ALIGN(attribute->nla_len), sizeof(nlattr));
    if (step >= size) {
      return;
    }
    data += step;
    size -= step;
  }
}

/** An answer's attribute: its type, and the size of a whole one's payload. */
struct Kind {
  std::uint16_t type;
  std::uint16_t size;
};

/** Appends a generic-netlink header and a whole attribute, which hardly any input has by chance. */
void appendWhole(const Kind& kind, std::vector<std::uint8_t>& bytes) {
  const nlattr attribute = {static_cast<std::uint16_t>(NLA_HDRLEN + kind.size), kind.type};
  bytes.resize(bytes.size() + GENL_HDRLEN);
  const auto* const begin = reinterpret_cast<const std::uint8_t*>(&attribute);
  bytes.insert(bytes.end(), begin, begin + sizeof(attribute));
  bytes.resize(bytes.size() + kind.size);
}

template <typename Result>
void parse(nl_msg* message) {
  Result result{};
  stats_parser(message, &result);
}

}  // namespace

/** The first byte chooses the request and what the message begins with; the rest is what follows. */
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 1) {
    return 0;
  }
  constexpr Kind kKinds[] = {{1, sizeof(PidStatsRecord)},
                             {3, sizeof(PidStatsRecord)},
                             {4, sizeof(SysStatsRecord)},
                             {5, sizeof(sysstats_pid)}};
  const Kind& kind = kKinds[data[0] % 4];
  std::vector<std::uint8_t> bytes(NLMSG_HDRLEN);
  if ((data[0] & 4) != 0) {
    appendWhole(kind, bytes);
  }
  bytes.insert(bytes.end(), data + 1, data + size);
  if (constexpr std::size_t kBegin = NLMSG_HDRLEN + GENL_HDRLEN; bytes.size() > kBegin) {
    keepType(bytes.data() + kBegin, bytes.size() - kBegin, kind.type);
  }
  auto* const header = reinterpret_cast<nlmsghdr*>(bytes.data());
  header->nlmsg_len = static_cast<std::uint32_t>(bytes.size());
  nl_msg* const message =
      nlmsg_convert(header);  // a copy that is no longer, so no byte is read behind
  switch (kind.type) {
    case 1:
      parse<PidStatsRecord>(message);
      break;
    case 3:
      parse<std::vector<PidStatsRecord>>(message);
      break;
    case 4:
      parse<SysStatsRecord>(message);
      break;
    default:
      parse<std::vector<sysstats_pid>>(message);
  }
  nlmsg_free(message);
  return 0;
}
