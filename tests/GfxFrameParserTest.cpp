#include <gtest/gtest.h>

#include <climits>
#include <sstream>

#include "HostCore.h"
#include "testing/FrameParserReference.h"

namespace {

/** A source, and the plain way to read the same text. */
class GfxFrameParser : public testing::Test {
 protected:
  void expectAgreement(const std::string& text) {
    EXPECT_TRUE(mReference.agreesWith(mSource, text)) << text;
  }

  OpenGfxEvent mSource;
  FrameParserReference mReference;
};

TEST_F(GfxFrameParser, PairsStagesByFrameAndCountsStarts) {
  using Values = std::vector<double>;
  // Second to third stage, intervals, first to second, and the keys of the frames still pending.
  const std::tuple<const char*, Values, Values, Values, std::vector<unsigned long>> cases[] = {
      {"0 5 7 1 2000000 0:0 5 7 2 2004000 0:0 5 7 3 2010000 0", {6}, {2000}, {4}, {}},
      // Short intervals add up; 4 is short. Single precision knows 16777216 and 16777218.
      {"0 0 0 1 10000:0 1 0 1 13000:0 2 0 1 15000:0 3 0 1 19000", {}, {10, 5}, {}, {0, 1, 3, 6}},
      {"0 0 0 1 16777217000:0 1 0 1 16777221000", {}, {16777216, 5}, {}, {0, 1}},
      {"0 1 1 1 10000:0 1 1 3 17000:0 1 1 3 18000", {7}, {10}, {}, {}},
      {"0 1 1 1 9000:0 1 1 1 20000:0 1 1 2 26000", {}, {9, 11}, {6}, {4}},
      {"0 1 1 1 9000:0 1 1 1 20000:0 1 1 3 26000", {17}, {9, 11}, {}, {}},
      {"0 1 1:0 1 1 0 9:x 10 20 2 500:0 1 1 4 9:::  :", {}, {}, {}, {}},
      {"\t 0x1 \t 1 012:+ 1 + 2 0 0:0\t 1 \n: 1", {}, {}, {-.01}, {1}},  // a tab is a field
      {"0 1 1 1 9000 0 0 2 2 1 20000:", {}, {9}, {}, {4}},  // what follows the time is ignored
      {"0 1 2 1 1:0 2 1 1 1:0 0 3 1 1", {}, {}, {}, {7, 8, 9}},
      // Rounded before b is added. Exactly, it ends in 8487; rounded only once, in 8672.
      {"0 3798570523 407608742 1 1", {}, {}, {}, {8845972007168667648}},
      {"0 9223372036854775808 1 1 1", {}, {}, {}, {ULONG_MAX}},
      {"0 3327948883 2746052116 1 1", {}, {}, {}, {ULONG_MAX}},  // exactly 2^64
  };
  for (const auto& [text, secondToThird, intervals, firstToSecond, pending] : cases) {
    OpenGfxEvent source;
    GfxFrameData data;
    source.stringParser(nullptr, data);
    source.stringParser(std::string(text).data(), data);
    EXPECT_EQ(figures(data), std::tie(secondToThird, intervals, firstToSecond)) << text;
    EXPECT_EQ(source.mFrameStages.size(), pending.size()) << text;
    for (const unsigned long key : pending) {
      EXPECT_EQ(source.mFrameStages.count(key), 1u) << text;
    }
  }
}

TEST_F(GfxFrameParser, TakesStagesInAnyOrder) {
  for (int order = 0; order < 6 * 6 * 6 * 6; ++order) {  // of two frames' three stages
    std::string text;
    int time = 0;
    for (int rest = order; rest > 0; rest /= 6) {
      text += "0 1 " + std::to_string(rest % 2) + " " + std::to_string(rest % 3 + 1) + " " +
              std::to_string(time += 5000) + ":";
    }
    expectAgreement(text);
  }
}

TEST_F(GfxFrameParser, TakesRecordsThatDriversDoNotWrite) {
  const std::string record = "0 1 1 2 12000 0";
  for (std::size_t end = 0; end < record.size(); ++end) {
    expectAgreement("0 1 1 1 9000 0:" + record.substr(0, end) + ":" + record);
  }
  std::istringstream fields(
      "|\t|\n1|\v\f\r 2|+1|-1|- 1|-18446744073709551615|0x1|0X2|0xg|0x|02|08|00|2x|X2|1\t|\x80|3|"
      "1 | 1|1 1|9999999999999999999|18446744073709551614|18446744073709551616|"
      "00000000000000000000000001");
  for (std::string field; std::getline(fields, field, '|');) {
    for (const std::string separator : {":", "::", ": :", " :\n", "", " "}) {
      for (const std::string stage : {"1", "2", "3"}) {
        expectAgreement(field + " 1 1 " + stage + " 9000" + separator);
        expectAgreement("0 " + field + " 1 " + stage + " 19000" + separator);
        expectAgreement("0 1 " + field + " " + stage + " 29000" + separator);
        expectAgreement("0 1 1 " + field + " 39000" + separator);
        expectAgreement("0 1 1 " + stage + " " + field + separator + "0 1 1 " + stage);
      }
    }
  }
}

TEST(GfxDeathTest, OverflowsEndTheProcess) {
  const auto abort = testing::KilledBySignal(SIGABRT);
  for (std::string text :
       {"0 18446744073709551615 1 1 1", "0 9223372036854775807 9223372036854775808 1 1", "0 -1 0 0",
        "0 1 99999999999999999999", "0 1 1 1 1:0 -2 1"}) {
    GfxFrameData data;
    EXPECT_EXIT(GfxEvent().stringParser(text.data(), data), abort, "") << text;
  }
  const auto count = [](unsigned long expected, int lost, unsigned long seq) {
    GfxEvent::sExpectedSeq = expected;
    GfxEvent::sLostCount = lost;
    GfxEvent().dataLossCounter(seq);
  };
  EXPECT_EXIT(count(0, 0, ULONG_MAX), abort, "");
  EXPECT_EXIT(count(ULONG_MAX, 0, ULONG_MAX), abort, "");
  EXPECT_EXIT(count(5, 0, ULONG_MAX), abort, "");
  EXPECT_EXIT(count(5, -1, 6), abort, "");
}

TEST(GfxDataLoss, CountsGapsAndResynchronisesAfterAStepBack) {
  auto counters = std::tie(GfxEvent::sExpectedSeq, GfxEvent::sLostCount);
  const std::tuple<unsigned long, unsigned long, int> steps[] = {
      {5, 6, 0},   {6, 7, 0}, {9, 10, 2}, {3, 0, 2},
      {42, 43, 2}, {0, 0, 2}, {0, 1, 2},  {0x80000002, 0x80000003, -0x7ffffffd}};
  for (const auto& [seq, expected, lost] : steps) {
    GfxEvent().dataLossCounter(seq);
    EXPECT_EQ(counters, std::tie(expected, lost)) << seq;
  }
  counters = std::tuple(0, 0);  // as at first
}

}  // namespace
