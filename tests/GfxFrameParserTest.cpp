#include <gtest/gtest.h>

#include <climits>
#include <random>

#include "HostCore.h"
#include "testing/FailingNew.h"
#include "testing/FrameParserReference.h"

namespace {

TEST(GfxFrameParser, PairsStagesByFrameAndCountsStarts) {
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

TEST(GfxFrameParser, AShortageOfMemoryLosesOnlyTheRestOfTheText) {
  std::string text = "0 1 1 1 9000:0 1 1 2 11000:0 2 2 1 20000:";
  std::size_t told = 0;
  for (int allocation = 1; allocation < 20; ++allocation) {
    OpenGfxEvent source;
    GfxFrameData data;
    failingnew::gThrowing = allocation;
    try {
      source.stringParser(text.data(), data);
    } catch (const std::bad_alloc&) {
      told += data.firstToSecondStage.size();
    }
    failingnew::gThrowing = 0;
    source.stringParser(text.data(), data);  // would hang if the frames were still locked
  }
  EXPECT_GT(told, 0u);
}

/** A text that is mostly right, of few frames so that their stages meet. */
std::string randomText(std::mt19937_64& random) {
  static constexpr const char* kOddFields[] = {"\t",
                                               "\n1",
                                               "\v\f\r 2",
                                               "+1",
                                               "-1",
                                               "- 1",
                                               "-18446744073709551615",
                                               "0x1",
                                               "0X2",
                                               "0xg",
                                               "0x",
                                               "02",
                                               "08",
                                               "00",
                                               "2x",
                                               "x",
                                               "1\t",
                                               "\x80",
                                               "9999999999999999999",
                                               "18446744073709551614",
                                               "18446744073709551616",
                                               "00000000000000000000000001",
                                               "99999999999999999999999999"};
  static constexpr const char* kSeparators[] = {":", ":", ":", "::", ": :", " :\n", "", " "};
  std::string text;
  for (auto records = random() % 16; records > 0; --records) {
    const unsigned long limits[] = {9, 3, 3, 5, random() % 2 ? 100000UL : 10000000000UL, 9, 9, 9};
    const auto fields = random() % 8 == 0 ? random() % 9 : 6;
    for (std::size_t i = 0; i < fields; ++i) {
      text.append(random() % 16 == 0 ? 3 : i > 0, ' ');
      text += random() % 24 == 0 ? kOddFields[random() % std::size(kOddFields)]
                                 : std::to_string(random() % limits[i]);
    }
    text += kSeparators[random() % std::size(kSeparators)];
  }
  return text;
}

TEST(GfxFrameParser, AgreesWithStrtokAndStrtoulOnAnyText) {
  hostcore::setItem(8, "/dev/null");
  const auto seed = std::random_device{}();
  std::mt19937_64 random(seed);
  OpenGfxEvent source;
  FrameParserReference reference;
  for (int i = 1; i <= 20000; ++i) {
    const std::string text = randomText(random);
    SCOPED_TRACE(testing::Message() << "seed " << seed << ", text " << text);
    ASSERT_TRUE(reference.agreesWith(source, text));
    if (i % 64 == 0) {  // both forget
      const auto unknown = [](int, void*, int, void*) {};
      i % 128 == 0 ? source.startEvent(unknown, 1) : source.pauseEvent(unknown);
      reference.mFrameStages.clear();
    }
  }
  EXPECT_GT(reference.mLastFrameStart, 0);
}

TEST(GfxDeathTest, OverflowsEndTheProcess) {
  const auto abort = testing::KilledBySignal(SIGABRT);
  for (std::string text :
       {"0 18446744073709551615 1 1 1", "0 9223372036854775807 9223372036854775808 1 1", "0 -1 0 0",
        "0 1 99999999999999999999", "0 1 1 1 1:0 -2 1"}) {
    GfxFrameData data;
    EXPECT_EXIT(GfxEvent().stringParser(text.data(), data), abort, "") << text;
  }
  const std::tuple<unsigned long, int, unsigned long> gaps[] = {
      {0, 0, ULONG_MAX}, {ULONG_MAX, 0, ULONG_MAX}, {5, 0, ULONG_MAX}, {5, -1, 6}};
  for (const auto& [expected, lost, seq] : gaps) {
    std::tie(GfxEvent::sExpectedSeq, GfxEvent::sLostCount) = std::tuple(expected, lost);
    EXPECT_EXIT(GfxEvent().dataLossCounter(seq), abort, "") << expected;
  }
}

TEST(GfxDataLoss, CountsGapsAndResynchronisesAfterAStepBack) {
  auto counters = std::tie(GfxEvent::sExpectedSeq, GfxEvent::sLostCount);
  counters = std::tuple(0, 0);
  const std::tuple<unsigned long, unsigned long, int> steps[] = {
      {5, 6, 0},   {6, 7, 0}, {9, 10, 2}, {3, 0, 2},
      {42, 43, 2}, {0, 0, 2}, {0, 1, 2},  {0x80000002, 0x80000003, -0x7ffffffd}};
  for (const auto& [seq, expected, lost] : steps) {
    GfxEvent().dataLossCounter(seq);
    EXPECT_EQ(counters, std::tie(expected, lost)) << seq;
  }
}

}  // namespace
