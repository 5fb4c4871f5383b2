#include "StatsProvider.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netlink/genl/genl.h>
#include <netlink/handlers.h>
#include <netlink/msg.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <numeric>

#include "FailingNew.h"
#include "FakeKernel.h"
#include "Hooks.h"
#include "LogCapture.h"

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr char kNoFamily[] =
    "StatsProvider: isApiSupported() No matching entry for ctrl cache with family name : SYSSTATS";

std::string payload(std::size_t size, char fill) { return std::string(size, fill); }

/** On the real kernel, which has the family only on the simulated device. */
TEST(StatsOnThisKernel, SupportIsWhatTheKernelHas) {
  const LogCapture log;
  StatsProvider stats;
  const bool there = access("/sys/module/lmdevice", F_OK) == 0;
  EXPECT_EQ(stats.supportsPidStats, there);
  EXPECT_EQ(stats.supportsSysStats, there);
  EXPECT_EQ(stats.supportsPidStatsRange, there);
  EXPECT_EQ(stats.supportsPidsByName, there);
  if (there) {
    return;
  }
  EXPECT_THAT(log.texts(), ElementsAre(kNoFamily, kNoFamily, kNoFamily, kNoFamily));
  std::vector<sysstats_pid> pids;
  EXPECT_EQ(stats.getPIDsRange("init", pids), -1);
  EXPECT_THAT(stats.getPIDStatsRange(0, 65535), IsEmpty());
  EXPECT_THAT(stats.getPIDStats(1).slots, Each(0));
  EXPECT_THAT(stats.getSysStats().slots, Each(0));
  EXPECT_EQ(log.texts().size(), 4u);
  EXPECT_EQ(stats.sendRecvData(0, 1, "", &pids), -2);
  EXPECT_EQ(log.texts().back(),
            "StatsProvider: sendRecvData() Unable to resolve taskstats family id -12");
}

class Stats : public testing::Test {
 protected:
  ~Stats() override { hooks::failCall(""); }

  FakeKernel mKernel;
  StatsProvider mStats;
  const LogCapture mLog;
};

TEST_F(Stats, TheFamilysVersionIsComparedByItsLowByte) {
  struct Case {
    int version;
    bool first;
    bool second;
  };
  for (const Case& c :
       {Case{FakeKernel::kNoFamily, false, false}, Case{1, true, false}, Case{2, true, true},
        Case{255, true, true}, Case{256, false, false}, Case{258, true, true}}) {
    mKernel.version = c.version;
    StatsProvider stats;
    EXPECT_EQ(stats.supportsPidStats, c.first) << c.version;
    EXPECT_EQ(stats.supportsSysStats, c.first) << c.version;
    EXPECT_EQ(stats.supportsPidStatsRange, c.first) << c.version;
    EXPECT_EQ(stats.supportsPidsByName, c.second) << c.version;
  }
}

TEST_F(Stats, RequestsAreTheseBytes) {
  std::vector<sysstats_pid> pids;
  struct Case {
    std::function<void()> ask;
    int flags;
    std::string rest;  // command, version, two zeros, attribute length and type, payload
  };
  using namespace std::string_literals;
  for (const Case& c : {
           Case{[&] { mStats.getPIDStats(0x01020304); }, NLM_F_REQUEST,
                "\1\2\0\0\10\0\1\0\4\3\2\1"s},
           Case{[&] { mStats.getSysStats(); }, NLM_F_REQUEST, "\3\2\0\0\10\0\0\0\xff\xff\xff\xff"s},
           Case{[&] { mStats.getPIDStatsRange(5, 70000); }, NLM_F_REQUEST | NLM_F_DUMP,
                "\1\2\0\0\10\0\2\0\5\0\x70\x11"s},
           Case{[&] { mStats.getPIDsRange("init", pids); }, NLM_F_REQUEST | NLM_F_DUMP,
                "\5\2\0\0\10\0\3\0init"s},
       }) {
    mKernel.answer = [&] { return Datagrams{mKernel.done()}; };
    c.ask();
    const auto& header = *reinterpret_cast<const nlmsghdr*>(mKernel.request.data());
    EXPECT_EQ(header.nlmsg_flags & ~NLM_F_ACK, c.flags);
    EXPECT_EQ(std::string(mKernel.request.begin() + NLMSG_HDRLEN, mKernel.request.end()), c.rest);
  }
}

TEST_F(Stats, AnswersArriveWhole) {
  mKernel.answer = [&] { return Datagrams{mKernel.message({{1, payload(152, 'p')}})}; };
  EXPECT_THAT(mStats.getPIDStats(1).slots, Each(0x7070707070707070));
  mKernel.answer = [&] { return Datagrams{mKernel.message({{4, payload(288, 's')}})}; };
  EXPECT_THAT(mStats.getSysStats().slots, Each(0x7373737373737373));
  for (const std::size_t count : {1u, 100u, 5000u}) {
    mKernel.answer = [&] {
      Datagrams datagrams;
      for (std::size_t left = count; left > 0;) {
        const std::size_t records = std::min<std::size_t>(left, 90);
        datagrams.push_back(mKernel.message({records, {3, payload(152, 'r')}}, true));
        left -= records;
      }
      datagrams.push_back(mKernel.done());
      return datagrams;
    };
    EXPECT_EQ(mStats.getPIDStatsRange(0, 65535).size(), count);
  }
  std::vector<sysstats_pid> pids(1);
  mKernel.answer = [&] {
    return Datagrams{mKernel.message({{5, payload(8, 'a')}, {5, payload(8, 'b')}}, true),
                     mKernel.done()};
  };
  EXPECT_EQ(mStats.getPIDsRange("x", pids), 0);
  ASSERT_EQ(pids.size(), 3u);
  EXPECT_THAT(pids[2].bytes, Each('b'));
  EXPECT_THAT(mLog.texts(), IsEmpty());
}

TEST_F(Stats, OddAnswersAreLogged) {
  mKernel.answer = [&] { return Datagrams{mKernel.message({{1, payload(100, 'p')}})}; };
  const PidStatsRecord record = mStats.getPIDStats(1);
  EXPECT_EQ(record.slots[11], 0x7070707070707070u);
  EXPECT_EQ(record.slots[12], 0x70707070u);
  mKernel.answer = [&] {
    return Datagrams{mKernel.message({{2, ""}, {4, payload(288, 's')}, {6, "abcd"}})};
  };
  EXPECT_THAT(mStats.getSysStats().slots, Each(0x7373737373737373));
  mKernel.answer = [&] {
    return Datagrams{
        mKernel.message({{3, payload(152, 'r')}, {3, "short"}, {3, payload(152, 'r')}}, true),
        mKernel.done()};
  };
  EXPECT_EQ(mStats.getPIDStatsRange(0, 1).size(), 1u);
  mKernel.answer = [&] { return Datagrams{mKernel.error(-EPERM)}; };
  std::vector<sysstats_pid> pids;
  EXPECT_EQ(mStats.getPIDsRange("x", pids), -1);
  EXPECT_EQ(mStats.getPIDsRange(nullptr, pids), -1);
  const std::string parser = "StatsProvider: stats_parser() ";
  EXPECT_THAT(
      mLog.texts(),
      ElementsAre(parser + "nla_memcpy() copied only 100 out of 152 bytes",
                  parser + "unknown attr type: nla_type = 2",
                  parser + "unknown attr type: nla_type = 6",
                  parser + "nla_memcpy() copied only 5 out of 152 bytes",
                  "StatsProvider: stats_nl_error_callback() NL SOC receive error: Operation not "
                  "permitted",
                  "StatsProvider: sendRecvData() nl_recvmsgs failed return=-28",
                  "StatsProvider: getPIDsRange() sendRecvData returned error = -4",
                  "StatsProvider: sendRecvData() Client sent an invalid Processname to get PID",
                  "StatsProvider: getPIDsRange() sendRecvData returned error = -3"));
}

TEST_F(Stats, EachFailedStepReleasesWhatWasTakenOnce) {
  mKernel.answer = [&] { return Datagrams{mKernel.message({{1, payload(152, 'p')}})}; };
  const std::vector<std::string> socket = {"nl_socket_free"};
  const std::vector<std::string> message = {"nlmsg_free", "nl_socket_free"};
  const std::vector<std::string> callbacks = {"nl_cb_put", "nlmsg_free", "nl_socket_free"};
  struct Case {
    const char* call;
    int type;
    int result;
    std::vector<std::string> released;
    const char* log;
  };
  for (const Case& c : {
           Case{"nl_socket_alloc", 0, -1, {}, "nl_socket_alloc() failed"},
           Case{"genl_connect", 0, -2, socket, "genl_connect() failed return=-5"},
           Case{"genl_ctrl_resolve", 0, -2, socket, "Unable to resolve taskstats family id -5"},
           Case{"nlmsg_alloc", 0, -2, socket, "nlmsg_alloc() failed"},
           Case{"genlmsg_put", 0, -3, message, "genlmsg_put() failed"},
           Case{"nla_put_u32", 0, -3, message, nullptr},
           Case{"nla_put", 3, -3, message, nullptr},
           Case{"nl_send_auto", 0, -3, message, nullptr},
           Case{"nl_cb_alloc", 0, -3, message, "nl_cb_alloc() failed"},
           Case{"nl_cb_set", 0, -4, callbacks, "nl_cb_set failed return=-5"},
           Case{"nl_cb_err", 0, -4, callbacks, "nl_cb_err failed return=-5"},
           Case{"nl_recvmsgs", 0, -4, callbacks, "nl_recvmsgs failed return=-5"},
           Case{"", 0, 0, callbacks, nullptr},
           Case{"", 4, -1, {}, "Unknown command type"},
           Case{"", -1, -1, {}, "Unknown command type"},
       }) {
    const LogCapture log;
    PidStatsRecord record = {};
    mKernel.released.clear();
    mKernel.waiting.clear();
    hooks::failCall(c.call);
    EXPECT_EQ(mStats.sendRecvData(c.type, 1, "x", &record), c.result) << c.call;
    EXPECT_EQ(mKernel.released, c.released) << c.call;
    const auto texts = log.texts();
    EXPECT_EQ(texts.size(), c.log != nullptr) << c.call;
    if (c.log != nullptr) {
      EXPECT_EQ(texts.at(0), std::string("StatsProvider: sendRecvData() ") + c.log);
    }
  }
  const LogCapture log;
  EXPECT_EQ(mStats.sendRecvData(0, 1, "", nullptr), -1);
  EXPECT_THAT(log.texts(), ElementsAre("StatsProvider: sendRecvData() parser_arg is NULL"));
}

TEST_F(Stats, AFailedProbeIsNoSupport) {
  const std::pair<const char*, const char*> cases[] = {
      {"nl_socket_alloc", "nl_socket_alloc() failed"},
      {"genl_connect", "genl_connect() failed return=-5"},
      {"genl_ctrl_alloc_cache", "populated cache = -5"}};
  for (const auto& [call, text] : cases) {
    const LogCapture log;
    hooks::failCall(call);
    EXPECT_FALSE(mStats.isApiSupported(1));
    EXPECT_THAT(log.texts(), ElementsAre(std::string("StatsProvider: isApiSupported() ") + text));
  }
  mKernel.released.clear();
  EXPECT_TRUE(mStats.isApiSupported(1));
  EXPECT_THAT(mKernel.released, ElementsAre("genl_family_put", "nl_cache_free", "nl_socket_free"));
}

TEST_F(Stats, TheParserTrustsNoLengthAndNoMemory) {
  std::vector<PidStatsRecord> records;
  EXPECT_EQ(stats_parser(nullptr, &records), NL_STOP);
  Bytes bytes = mKernel.message({{3, payload(152, 'r')}, {3, payload(152, 'r')}});
  auto& header = *reinterpret_cast<nlmsghdr*>(bytes.data());
  for (std::uint32_t length = NLMSG_HDRLEN; length <= bytes.size(); ++length) {
    header.nlmsg_len = length;
    Bytes exact(bytes.begin(), bytes.begin() + length);  // so that a sanitizer sees what is outside
    nl_msg* const message = nlmsg_convert(reinterpret_cast<nlmsghdr*>(exact.data()));
    records.clear();
    EXPECT_EQ(stats_parser(message, nullptr), NL_STOP);
    EXPECT_EQ(stats_parser(message, &records), NL_OK);
    EXPECT_EQ(records.size(), length < 20 + 156 ? 0 : (length - 20) / 156);
    nlmsg_free(message);
  }
  nl_msg* const message = nlmsg_convert(&header);
  std::vector<PidStatsRecord>().swap(records);
  failingnew::gThrowing = 1;
  EXPECT_EQ(stats_parser(message, &records), NL_OK);
  nlmsg_free(message);
  EXPECT_EQ(mLog.texts().back(),
            "StatsProvider: stats_parser() Caught Exception: std::bad_alloc in stats_parser");
}

TEST_F(Stats, EachKindOfAnswerSeedsTheFuzzer) {
  const std::filesystem::path folder = CORPUS;
  std::filesystem::create_directories(folder);
  const std::pair<int, std::size_t> kinds[] = {{1, 152}, {3, 152}, {4, 288}, {5, 8}};
  for (std::size_t i = 0; i < std::size(kinds); ++i) {
    const auto& [type, size] = kinds[i];
    const Bytes bytes =
        mKernel.message({{type, payload(size, 'x')}, {type, payload(3, 'x')}, {7, ""}});
    std::ofstream seed(folder / ("answer" + std::to_string(type)));
    seed << static_cast<char>(i) << std::string(bytes.begin() + NLMSG_HDRLEN, bytes.end());
    EXPECT_TRUE(seed.good());
  }
}

}  // namespace
