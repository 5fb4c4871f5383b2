#include <android/log.h>
#include <netlink/attr.h>
#include <netlink/genl/genl.h>
#include <netlink/msg.h>

#include <algorithm>
#include <cstring>
#include <memory>

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

template <typename Result>
void parse(nl_msg* message) {
  Result result{};
  stats_parser(message, &result);
}

}  // namespace

/** The first byte chooses the request; the rest is what follows the netlink header. */
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 1) {
    return 0;
  }
  // Exactly as long as the message, so that nothing outside can be touched unseen.
  const std::size_t length = NLMSG_HDRLEN + size - 1;
  const auto bytes = std::make_unique<std::uint8_t[]>(length);
  auto* const header = reinterpret_cast<nlmsghdr*>(bytes.get());
  header->nlmsg_len = static_cast<std::uint32_t>(length);
  std::memcpy(bytes.get() + NLMSG_HDRLEN, data + 1, size - 1);
  constexpr int kTypes[] = {1, 3, 4, 5};
  const int kept = kTypes[data[0] % 4];
  if (size > 1 + GENL_HDRLEN) {
    keepType(bytes.get() + NLMSG_HDRLEN + GENL_HDRLEN, size - 1 - GENL_HDRLEN, kept);
  }
  nl_msg* const message = nlmsg_convert(header);
  switch (kept) {
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
