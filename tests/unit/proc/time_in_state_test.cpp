#include "proc/time_in_state.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "tests/unit/support/fixture.h"
#include "tests/unit/support/odd_texts.h"
#include "tests/unit/support/string_sink.h"
#include "tests/unit/support/time_in_state_reading.h"

namespace tarnwick {
namespace {

using time_in_state_reading::sscanfStatesOf;
using time_in_state_reading::statesOf;

std::string linesOf(FreqMap before, const FreqMap& after) {
  StringSink sink;
  formatTimeInState(before, after, sink);
  return sink.text();
}

TEST(TimeInState, realTextGivesEveryFrequency) {
  EXPECT_EQ(statesOf(readFixture("linux-6.1-arm64/t0/sys/devices/system/cpu/cpufreq/policy0/stats/"
                                 "time_in_state")),
            (FreqMap{{300000, 1170},
                     {576000, 137},
                     {768000, 46},
                     {1017600, 58},
                     {1248000, 60},
                     {1497600, 38},
                     {1708800, 135}}));
}

TEST(TimeInState, laterTextOverwrites) {
  FreqMap map = {{300000, 1}};
  parseTimeInState("300000 5\n", map);
  EXPECT_EQ(map, (FreqMap{{300000, 5}}));
}

TEST(TimeInState, frequenciesThatTheTextLacksStay) {
  FreqMap map = {{200000, 1}};
  parseTimeInState("300000 5\n", map);
  EXPECT_EQ(map, (FreqMap{{200000, 1}, {300000, 5}}));
}

TEST(TimeInState, lastOfEqualFrequenciesHolds) {
  EXPECT_EQ(statesOf("300000 5\n300000 6\n"), (FreqMap{{300000, 6}}));
}

TEST(TimeInState, lineWithoutTimeIsPassedOver) {
  EXPECT_EQ(statesOf("300000\n400000 6\n"), (FreqMap{{400000, 6}}));
}

TEST(TimeInState, lineWithoutNumbersIsPassedOver) {
  EXPECT_EQ(statesOf("freq time\n400000 6\n"), (FreqMap{{400000, 6}}));
}

TEST(TimeInState, lineCutByTheEndOfTheTextCounts) {
  EXPECT_EQ(statesOf("300000 1234\n400000 56"), (FreqMap{{300000, 1234}, {400000, 56}}));
}

TEST(TimeInState, moreNumbersOnALineAreIgnored) {
  EXPECT_EQ(statesOf("300000 5 7\n"), (FreqMap{{300000, 5}}));
}

TEST(TimeInState, emptyTextGivesNothing) {
  EXPECT_EQ(statesOf(""), FreqMap{});
}

TEST(TimeInState, oddTextsReadAsSscanfReadsThem) {
  constexpr int kTexts = 200000;
  OddTexts texts(readFixtures("sys/devices/system/cpu/cpufreq", "stats/time_in_state"),
                 "0123456789 +-()\t\n\v\f\rxe.,\n\n");
  for (int i = 0; i < kTexts; ++i) {
    const std::string text = texts.next();
    ASSERT_EQ(statesOf(text), sscanfStatesOf(text)) << testing::PrintToString(text);
  }
}

TEST(TimeInStateLines, areInMilliseconds) {
  EXPECT_EQ(linesOf({{300000, 10}}, {{300000, 17}}), "    freq: 300000  70\n");
}

TEST(TimeInStateLines, padTheFrequency) {
  EXPECT_EQ(linesOf({}, {{1, 2}}), "    freq: 1       20\n");
}

TEST(TimeInStateLines, showAWideFrequencyWhole) {
  EXPECT_EQ(linesOf({}, {{12345678, 2}}), "    freq: 12345678 20\n");
}

TEST(TimeInStateLines, ascendByFrequency) {
  EXPECT_EQ(linesOf({}, {{2000000, 1}, {300000, 2}, {900000, 3}}),
            "    freq: 300000  20\n    freq: 900000  30\n    freq: 2000000 10\n");
}

TEST(TimeInStateLines, leaveOutFrequenciesWithoutTime) {
  EXPECT_EQ(linesOf({{300000, 10}, {400000, 20}}, {{300000, 10}, {400000, 21}}),
            "    freq: 400000  10\n");
}

TEST(TimeInStateLines, leaveOutTimeThatWentBackwards) {
  EXPECT_EQ(linesOf({{300000, 10}}, {{300000, 9}}), "");
}

TEST(TimeInStateLines, countANewFrequencyFromZero) {
  EXPECT_EQ(linesOf({{300000, 10}}, {{300000, 10}, {400000, 6}}), "    freq: 400000  60\n");
}

TEST(TimeInStateLines, leaveOutFrequenciesThatAreGone) {
  EXPECT_EQ(linesOf({{300000, 10}}, {}), "");
}

TEST(TimeInStateLines, addANewFrequencyToTheBeforeMap) {
  FreqMap before;
  StringSink sink;
  formatTimeInState(before, {{400000, 6}}, sink);
  EXPECT_EQ(before, (FreqMap{{400000, 0}}));
}

TEST(TimeInStateLines, areARecordEach) {
  FreqMap before;
  StringSink sink;
  formatTimeInState(before, {{300000, 6}, {400000, 6}}, sink);
  EXPECT_EQ(sink.records().size(), 2U);
}

TEST(TimeInStateLines, wrapAtTheEndsOfTheRange) {
  constexpr int64_t kMax = std::numeric_limits<int64_t>::max();
  EXPECT_EQ(linesOf({{1, 0}}, {{1, kMax}}), "    freq: 1       -10\n");
}

TEST(TimeInStateLines, matchTwoRealTexts) {
  const std::string file = "/sys/devices/system/cpu/cpufreq/policy2/stats/time_in_state";
  EXPECT_EQ(linesOf(statesOf(readFixture("linux-6.1-arm64/t0" + file)),
                    statesOf(readFixture("linux-6.1-arm64/t1" + file))),
            "    freq: 300000  10\n    freq: 2092800 20\n    freq: 2361600 10980\n");
}

}  // namespace
}  // namespace tarnwick
