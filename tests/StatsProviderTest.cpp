#include "StatsProvider.h"

#include <gmock/gmock.h>
#include <netlink/handlers.h>
#include <netlink/msg.h>

#include <functional>
#include <tuple>

#include "testing/FailingNew.h"
#include "testing/FakeKernel.h"
#include "testing/Hooks.h"
#include "testing/LogCapture.h"

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class Stats : public testing::Test {
 protected:
  /** The last request's flags, and what follows its netlink header. */
  void expectRequest(int flags, const Bytes& rest) const {
    EXPECT_EQ(mKernel.header.nlmsg_type, FakeKernel::kFamilyId);
    EXPECT_EQ(mKernel.header.nlmsg_flags & ~NLM_F_ACK, flags);
    EXPECT_EQ(mKernel.request, rest);
  }

  FakeKernel mKernel;
  StatsProvider mStats;
  const LogCapture mLog;
  std::vector<sysstats_pid> mPids;
  const Attributes::value_type mListed = {3, Bytes(152, 'r')};
};

TEST_F(Stats, WithoutTheFamilyNothingIsSupportedNorAsked) {
  mKernel.name = "OTHER";
  StatsProvider stats;
  mKernel.request.clear();
  EXPECT_EQ(stats.getPIDsRange("init", mPids), -1);
  EXPECT_THAT(stats.getPIDStatsRange(0, 65535), IsEmpty());
  EXPECT_THAT(stats.getPIDStats(1).slots, Each(0));
  EXPECT_THAT(stats.getSysStats().slots, Each(0));
  EXPECT_EQ(mKernel.request, "");
  const std::string line =
      "StatsProvider: isApiSupported() No matching entry for ctrl cache with family name : "
      "SYSSTATS";
  EXPECT_THAT(mLog.texts(), ElementsAre(line, line, line, line));
}

TEST_F(Stats, TheFamilysVersionIsComparedByItsLowByte) {
  const std::tuple<int, bool, bool> cases[] = {
      {1, true, false}, {255, true, true}, {256, false, false}, {258, true, true}};
  for (const auto& [version, first, second] : cases) {
    mKernel.version = version;
    const StatsProvider stats;
    EXPECT_EQ(stats.supportsPidStats, first) << version;
    EXPECT_EQ(stats.supportsSysStats, first) << version;
    EXPECT_EQ(stats.supportsPidStatsRange, first) << version;
    EXPECT_EQ(stats.supportsPidsByName, second) << version;
  }
}

TEST_F(Stats, RequestsAreTheseBytesAndAnswersArriveWhole) {
  using namespace std::string_literals;
  mKernel.answer = {mKernel.message({{1, Bytes(152, 'p')}})};
  EXPECT_THAT(mStats.getPIDStats(0x01020304).slots, Each(0x7070707070707070));
  expectRequest(NLM_F_REQUEST, "\1\2\0\0\10\0\1\0\4\3\2\1"s);
  mKernel.answer = {mKernel.message({{4, Bytes(288, 's')}})};
  EXPECT_THAT(mStats.getSysStats().slots, Each(0x7373737373737373));
  expectRequest(NLM_F_REQUEST, "\3\2\0\0\10\0\0\0\xff\xff\xff\xff"s);
  const Bytes part = mKernel.message({90, mListed}, NLM_F_MULTI);  // more than one buffer
  mKernel.answer = {part, part, mKernel.done()};
  EXPECT_EQ(mStats.getPIDStatsRange(0x10005, 70000).size(), 180u);
  expectRequest(NLM_F_REQUEST | NLM_F_DUMP, "\1\2\0\0\10\0\2\0\5\0\x70\x11"s);
  mKernel.answer = {mKernel.message({{5, "aaaaaaaa"}, {5, "bbbbbbbb"}})};
  mPids.resize(1);
  EXPECT_EQ(mStats.getPIDsRange("init", mPids), 0);
  EXPECT_EQ(mPids.size(), 3u);
  EXPECT_THAT(mPids.back().bytes, Each('b'));
  expectRequest(NLM_F_REQUEST | NLM_F_DUMP, "\5\2\0\0\10\0\3\0init"s);
  EXPECT_THAT(mLog.texts(), IsEmpty());
}

TEST_F(Stats, OddAnswersAreLogged) {
  mKernel.answer = {mKernel.message({{1, Bytes(100, 'p')}})};
  EXPECT_EQ(mStats.getPIDStats(1).slots[12], 0x70707070u);
  mKernel.answer = {mKernel.message({{1, Bytes(152, 'l') + "cut off"}})};
  EXPECT_THAT(mStats.getPIDStats(1).slots, Each(0x6c6c6c6c6c6c6c6c));
  mKernel.answer = {
      mKernel.message({{2, ""}, {4, Bytes(288, 's')}, {NLA_F_NESTED | 4, Bytes(288, 'x')}})};
  EXPECT_THAT(mStats.getSysStats().slots, Each(0x7373737373737373));
  mKernel.answer = {mKernel.message({mListed, {3, "short"}, mListed}, NLM_F_MULTI),
                    mKernel.message({mListed}, NLM_F_MULTI), mKernel.done()};
  EXPECT_EQ(mStats.getPIDStatsRange(0, 1).size(), 1u);
  EXPECT_EQ(mStats.getPIDsRange(nullptr, mPids), -1);
  EXPECT_EQ(mStats.sendRecvData(0, 1, "", nullptr), -1);
  const std::string parser = "StatsProvider: stats_parser() ";
  const std::string request = "StatsProvider: sendRecvData() ";
  EXPECT_THAT(mLog.texts(),
              ElementsAre(parser + "nla_memcpy() copied only 100 out of 152 bytes",
                          parser + "unknown attr type: nla_type = 2",
                          parser + "unknown attr type: nla_type = 32772",
                          parser + "nla_memcpy() copied only 5 out of 152 bytes",
                          request + "Client sent an invalid Processname to get PID",
                          "StatsProvider: getPIDsRange() sendRecvData returned error = -3",
                          request + "parser_arg is NULL"));
}

TEST_F(Stats, WhatArrivedBeforeAnErrorIsKeptAndEachOperationLogsIt) {
  const std::tuple<std::string, Attributes::value_type, std::function<bool()>> cases[] = {
      {"getPIDStats",
       {1, Bytes(152, 'p')},
       [&] { return mStats.getPIDStats(1).slots[18] == 0x7070707070707070; }},
      {"getSysStats",
       {4, Bytes(288, 's')},
       [&] { return mStats.getSysStats().slots[35] == 0x7373737373737373; }},
      {"getPIDStatsRange", mListed, [&] { return mStats.getPIDStatsRange(0, 1).size() == 1; }},
      {"getPIDsRange",
       {5, Bytes(8, 'n')},
       [&] { return mStats.getPIDsRange("x", mPids) == -1 && mPids.size() == 1; }},
  };
  for (const auto& [operation, arrived, isKept] : cases) {
    const LogCapture log;
    mKernel.answer = {mKernel.message({arrived}, NLM_F_MULTI), mKernel.error(-EPERM)};
    EXPECT_TRUE(isKept()) << operation;
    EXPECT_THAT(log.texts(),
                ElementsAre("StatsProvider: stats_nl_error_callback() NL SOC receive error: "
                            "Operation not permitted",
                            "StatsProvider: sendRecvData() nl_recvmsgs failed return=-28",
                            "StatsProvider: " + operation + "() sendRecvData returned error = -4"));
  }
}

TEST_F(Stats, EachFailedStepReleasesWhatWasTakenOnce) {
  mKernel.answer = {mKernel.message({{1, Bytes(152, 'p')}})};
  constexpr int kProbe = -2;  // isApiSupported
  const std::vector<std::string> socket = {"nl_socket_free"};
  const std::vector<std::string> probe = {"genl_family_put", "nl_cache_free", "nl_socket_free"};
  const std::vector<std::string> message = {"nlmsg_free", "nl_socket_free"};
  const std::vector<std::string> callbacks = {"nl_cb_put", "nlmsg_free", "nl_socket_free"};
  const std::tuple<const char*, int, int, std::vector<std::string>, std::string> cases[] = {
      {"nl_socket_alloc", kProbe, false, {}, "nl_socket_alloc() failed"},
      {"genl_connect", kProbe, false, socket, "genl_connect() failed return=-5"},
      {"genl_ctrl_alloc_cache", kProbe, false, socket, "populated cache = -5"},
      {"", kProbe, true, probe, ""},
      {"nl_socket_alloc", 0, -1, {}, "nl_socket_alloc() failed"},
      {"genl_connect", 0, -2, socket, "genl_connect() failed return=-5"},
      {"genl_ctrl_resolve", 0, -2, socket, "Unable to resolve taskstats family id -5"},
      {"nlmsg_alloc", 0, -2, socket, "nlmsg_alloc() failed"},
      {"genlmsg_put", 0, -3, message, "genlmsg_put() failed"},
      {"nla_put_u32", 0, -3, message, ""},
      {"nla_put", 3, -3, message, ""},
      {"nl_send_auto", 0, -3, message, ""},
      {"nl_cb_alloc", 0, -3, message, "nl_cb_alloc() failed"},
      {"nl_cb_set", 0, -4, callbacks, "nl_cb_set failed return=-5"},
      {"nl_cb_err", 0, -4, callbacks, "nl_cb_err failed return=-5"},
      {"nl_recvmsgs", 0, -4, callbacks, "nl_recvmsgs failed return=-5"},
      {"", 0, 0, callbacks, ""},
      {"", 4, -1, {}, "Unknown command type"},
      {"", -1, -1, {}, "Unknown command type"},
  };
  for (const auto& [call, type, result, released, text] : cases) {
    const LogCapture log;
    PidStatsRecord record = {};
    mKernel.released.clear();
    hooks::failCall(call);
    const int got =
        type == kProbe ? mStats.isApiSupported(1) : mStats.sendRecvData(type, 1, "x", &record);
    EXPECT_EQ(got, result) << call;
    EXPECT_EQ(mKernel.released, released) << call;
    const std::string prefix = type == kProbe ? "isApiSupported() " : "sendRecvData() ";
    EXPECT_EQ(log.texts(),
              std::vector<std::string>(text.empty() ? 0 : 1, "StatsProvider: " + prefix + text));
  }
}

TEST_F(Stats, ARecordThatMemoryIsShortForIsLeftOut) {
  Bytes bytes = mKernel.message({mListed});
  nl_msg* const message = nlmsg_convert(reinterpret_cast<nlmsghdr*>(bytes.data()));
  std::vector<PidStatsRecord> records;
  failingnew::gThrowing = 1;
  EXPECT_EQ(stats_parser(message, &records), NL_OK);
  nlmsg_free(message);
  EXPECT_THAT(records, IsEmpty());
  EXPECT_THAT(mLog.texts(), ElementsAre("StatsProvider: stats_parser() Caught Exception: "
                                        "std::bad_alloc in stats_parser"));
}

TEST_F(Stats, TheParserStopsWithoutAMessageOrAPlaceForIt) {
  nl_msg* const message = nlmsg_alloc();
  EXPECT_EQ(stats_parser(nullptr, &mPids), NL_STOP);
  EXPECT_EQ(stats_parser(message, nullptr), NL_STOP);
  hooks::failCall("nlmsg_hdr");
  EXPECT_EQ(stats_parser(message, &mPids), NL_STOP);
  nlmsg_free(message);
  const std::string prefix = "StatsProvider: stats_parser() ";
  EXPECT_THAT(mLog.texts(), ElementsAre(prefix + "nl_msg is NULL", prefix + "arg is NULL",
                                        prefix + "nlmsg_hdr returned NULL"));
}

}  // namespace
