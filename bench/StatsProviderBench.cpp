#include <fcntl.h>
#include <libproc2/meminfo.h>
#include <netlink/genl/ctrl.h>
#include <netlink/genl/family.h>
#include <netlink/genl/genl.h>
#include <netlink/msg.h>
#include <netlink/socket.h>
#include <signal.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <tuple>
#include <vector>

#include "Ratios.h"
#include "StatsProvider.h"
#include "detail/LMLog.h"

namespace {

/** How often a traced child stops while it works: twice at each system call. */
template <typename Work>
int countStops(Work work) {
  const pid_t child = fork();
  if (child == 0) {
    if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0) {
      kill(getpid(), SIGSTOP);
      work();
    }
    _exit(0);
  }
  int stops = 0;
  for (int status = 0; waitpid(child, &status, 0) == child && WIFSTOPPED(status); ++stops) {
    ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
  }
  return stops;
}

/** Adds a benchmark that also counts work's system calls and shows its result, 0 unless it failed. */
template <auto work, int items = 1>
std::string add(const std::string& name) {
  const auto measure = [](benchmark::State& state) {
    int result = 0;
    for (auto _ : state) {
      result |= work();
    }
    state.SetItemsProcessed(state.iterations() * items);
    state.counters["result"] = result;
    state.counters["syscalls"] = (countStops(work) - countStops([] {})) / 2;
  };
  benchmark::RegisterBenchmark(name.c_str(), measure)->MinTime(0.02)->Repetitions(51);
  return name;
}

/** One object for all iterations, because making it takes long. */
template <typename T>
T& shared() {
  static T& object = *new T;
  return object;
}

int memInfo() {
  return shared<StatsProvider>().getMemInfo().slots[kSwapUsedSlot] == kUnknownFigure ? -1 : 0;
}

/** The limit: only reads the text. */
int memInfoBare() {
  const int fd = open("/proc/meminfo", O_RDONLY);
  char text[8192];
  const ssize_t size = read(fd, text, sizeof(text));
  return close(fd) | (size > 0 ? 0 : -1);
}

/** What a user would pick otherwise. */
int memInfoLibproc2() {
  meminfo_info* info = nullptr;
  int result = procps_meminfo_new(&info);
  for (const auto item : {MEMINFO_SWAP_TOTAL, MEMINFO_SWAP_USED, MEMINFO_MEM_VM_ALLOC_USED}) {
    result |= procps_meminfo_get(info, item) == nullptr ? -1 : 0;
  }
  return result | procps_meminfo_unref(&info);
}

constexpr char kFamilyName[] = "SYSSTATS";

int probe() { return shared<StatsProvider>().isApiSupported(1) ? 0 : -1; }

/** The limit: only libnl's calls and the log line. */
int probeBare() {
  nl_sock* const socket = nl_socket_alloc();
  nl_cache* cache = nullptr;
  int result = -1;
  if (genl_connect(socket) == 0 && genl_ctrl_alloc_cache(socket, &cache) == 0) {
    genl_family* const family = genl_ctrl_search_by_name(cache, kFamilyName);
    if (family == nullptr) {
      LM_LOGE(lmsupport::kStatsProvider, "no family %s", kFamilyName);
    }
    result = family != nullptr && genl_family_get_version(family) >= 1 ? 0 : -1;
    genl_family_put(family);
    nl_cache_free(cache);
  }
  nl_socket_free(socket);
  return result;
}

/** By type of request; libnl adds NLM_F_REQUEST to the flags. */
constexpr int kFlags[] = {0, 0, NLM_F_DUMP, NLM_F_DUMP};
constexpr std::uint8_t kCommands[] = {1, 3, 1, 5};
constexpr int kAttributes[] = {1, 0, 2, 3};
constexpr int kValues[] = {1, -1, 1 | 0x7FFF << 16, -1};
constexpr char kProcessName[] = "lmsupport_bench";
using Answers = std::tuple<PidStatsRecord, SysStatsRecord, std::vector<PidStatsRecord>,
                           std::vector<sysstats_pid>>;

int sendBare(nl_sock* socket, int family, int type) {
  nl_msg* const message = nlmsg_alloc();
  genlmsg_put(message, NL_AUTO_PORT, NL_AUTO_SEQ, family, 0, kFlags[type], kCommands[type], 2);
  if (type == 3) {
    nla_put(message, kAttributes[type], sizeof(kProcessName) - 1, kProcessName);
  } else {
    nla_put_u32(message, kAttributes[type], static_cast<std::uint32_t>(kValues[type]));
  }
  const int result = nl_send_auto(socket, message);
  nlmsg_free(message);
  return result;
}

int receiveBare(nl_sock* socket, int family, void* answer) {
  nl_cb* const callbacks = nl_cb_alloc(NL_CB_CUSTOM);
  nl_cb_set(callbacks, NL_CB_VALID, NL_CB_CUSTOM, stats_parser, answer);
  nl_cb_err(callbacks, NL_CB_CUSTOM, stats_nl_error_callback, &family);
  const int result = nl_recvmsgs(socket, callbacks);
  nl_cb_put(callbacks);
  return result;
}

template <int type>
int request() {
  std::tuple_element_t<type, Answers> answer{};
  return shared<StatsProvider>().sendRecvData(type, kValues[type], kProcessName, &answer);
}

/** The limit: only libnl's calls and the log line. */
template <int type>
int requestBare() {
  std::tuple_element_t<type, Answers> answer{};
  nl_sock* const socket = nl_socket_alloc();
  genl_connect(socket);
  const int family = genl_ctrl_resolve(socket, kFamilyName);
  int result = -2;
  if (family < 0) {
    LM_LOGE(lmsupport::kStatsProvider, "no family: %d", family);
  } else if (sendBare(socket, family, type) >= 0) {
    result = receiveBare(socket, family, &answer);
  }
  nl_socket_free(socket);
  return result;
}

constexpr int kRecordCount = 30000;

/** What the kernel answers for a range of many PIDs, and where its records are. */
struct LongAnswer {
  LongAnswer() {
    for (int i = 0; i < kRecordCount; ++i) {
      if (i % 100 == 0) {
        messages.push_back(nlmsg_alloc_size(32768));
        genlmsg_put(messages.back(), 0, 0, NLMSG_MIN_TYPE, 0, NLM_F_MULTI, 1, 2);
      }
      void* const record = nla_data(nla_reserve(messages.back(), 3, sizeof(PidStatsRecord)));
      records.push_back(std::memset(record, i, sizeof(PidStatsRecord)));
    }
  }

  std::vector<nl_msg*> messages;
  std::vector<const void*> records;
};

int parse() {
  std::vector<PidStatsRecord> records;
  for (nl_msg* const message : shared<LongAnswer>().messages) {
    stats_parser(message, &records);
  }
  return records.size() == kRecordCount ? 0 : -1;
}

/** The limit: only copies the records. */
int parseMemcpy() {
  std::vector<PidStatsRecord> records;
  for (const void* const from : shared<LongAnswer>().records) {
    PidStatsRecord record;
    std::memcpy(&record, from, sizeof(record));
    records.push_back(record);
  }
  return records.size() == kRecordCount ? 0 : -1;
}

template <int type>
Ratio addRequests() {
  const std::string number = std::to_string(type);
  return {add<request<type>>("requestStatsProvider/" + number),
          add<requestBare<type>>("requestBareLibnl/" + number), "", "<= 1.02"};
}

}  // namespace

std::vector<Ratio> statsRatios() {
  const std::string ours = add<memInfo>("memInfoStatsProvider");
  return {{ours, add<memInfoBare>("memInfoBareRead"), "", "<= 1.3"},
          {ours, add<memInfoLibproc2>("memInfoLibproc2"), "", "< 1"},
          {add<probe>("probeStatsProvider"), add<probeBare>("probeBareLibnl"), "", "<= 1.02"},
          addRequests<0>(),
          addRequests<1>(),
          addRequests<2>(),
          addRequests<3>(),
          {add<parse, kRecordCount>("parseStatsProvider"),
           add<parseMemcpy, kRecordCount>("parseMemcpy"), "", ""}};
}
