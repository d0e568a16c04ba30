#include "sysstat/reclaim.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "tests/unit/support/fixture.h"
#include "tests/unit/support/odd_texts.h"
#include "tests/unit/support/vmstat_reading.h"

namespace tarnwick {
namespace {

std::vector<bool> figuresOf(const ReclaimNaming& naming) {
  return {naming.allocStallsInOne, naming.kswapdScansByZone, naming.kswapdStealsByZone,
          naming.directScansByZone, naming.directStealsByZone};
}

std::vector<int64_t> figuresOf(const ReclaimFigures& figures) {
  return {figures.allocStalls,  figures.compactStalls, figures.kswapdScans,
          figures.kswapdSteals, figures.directScans,   figures.directSteals};
}

constexpr ReclaimNaming kOlder = {true, true, true, true, true};
constexpr ReclaimNaming kNewer = {};

std::vector<bool> namingOf(std::string_view text) {
  return figuresOf(parseReclaimNaming(text));
}

// The figures that a kernel with these two texts shows.
std::vector<int64_t> figuresOf(const std::string& textBefore, const std::string& textAfter) {
  VmstatMap before, after;
  vmstat_reading::addCounters(textBefore, before);
  vmstat_reading::addCounters(textAfter, after);
  return figuresOf(subtractReclaim(before, after, parseReclaimNaming(textAfter)));
}

using Naming = std::vector<bool>;
using Figures = std::vector<int64_t>;

TEST(ReclaimNaming, ofEveryRealTextIsTheNewer) {
  for (const std::string& text : readFixtures("proc/vmstat")) {
    EXPECT_EQ(namingOf(text), figuresOf(kNewer));
  }
}

TEST(ReclaimNaming, ofATextThatCountsByZoneIsTheOlder) {
  EXPECT_EQ(namingOf(readFixture("made-up-3.10/t0/proc/vmstat")), figuresOf(kOlder));
}

TEST(ReclaimNaming, ofAnEmptyTextIsTheNewer) {
  EXPECT_EQ(namingOf(""), figuresOf(kNewer));
}

TEST(ReclaimNaming, allocstallIsOlder) {
  EXPECT_EQ(namingOf("allocstall 0\n"), (Naming{true, false, false, false, false}));
}

TEST(ReclaimNaming, oneZoneIsEnoughForKswapdScans) {
  for (const char* zone : {"normal", "high", "dma"}) {
    EXPECT_EQ(namingOf(std::string("pgscan_kswapd_") + zone + " 0\n"),
              (Naming{false, true, false, false, false}))
        << zone;
  }
}

TEST(ReclaimNaming, oneZoneIsEnoughForKswapdSteals) {
  for (const char* zone : {"normal", "high", "dma"}) {
    EXPECT_EQ(namingOf(std::string("pgsteal_kswapd_") + zone + " 0\n"),
              (Naming{false, false, true, false, false}))
        << zone;
  }
}

TEST(ReclaimNaming, oneZoneIsEnoughForDirectScans) {
  for (const char* zone : {"normal", "high", "dma"}) {
    EXPECT_EQ(namingOf(std::string("pgscan_direct_") + zone + " 0\n"),
              (Naming{false, false, false, true, false}))
        << zone;
  }
}

TEST(ReclaimNaming, oneZoneIsEnoughForDirectSteals) {
  for (const char* zone : {"normal", "high", "dma"}) {
    EXPECT_EQ(namingOf(std::string("pgsteal_direct_") + zone + " 0\n"),
              (Naming{false, false, false, false, true}))
        << zone;
  }
}

TEST(ReclaimNaming, olderNameHoldsAlsoBesideTheNewerOnes) {
  EXPECT_EQ(namingOf("pgscan_kswapd 9\npgscan_kswapd_high 0\npgscan_direct 9\n"),
            (Naming{false, true, false, false, false}));
}

TEST(ReclaimNaming, zonesThatAreNotSummedAreNotOlderNames) {
  EXPECT_EQ(namingOf("pgscan_kswapd_dma32 1\npgsteal_kswapd_dma32 1\npgscan_direct_movable 1\n"
                     "pgsteal_direct_movable 1\npgscan_direct_throttle 1\n"),
            figuresOf(kNewer));
}

TEST(ReclaimNaming, nameThatOnlyContainsAnOlderOneIsNone) {
  EXPECT_EQ(namingOf("allocstalls 1\nmy_allocstall 1\npgscan_kswapd_normal_ 1\n"),
            figuresOf(kNewer));
}

TEST(ReclaimNaming, olderNameOnTheLastLineWithoutItsEndIsSeen) {
  EXPECT_EQ(namingOf("pgfault 1\npgsteal_direct_dma 4"),
            (Naming{false, false, false, false, true}));
}

TEST(ReclaimNaming, olderNameWithoutItsNumberIsSeen) {
  EXPECT_EQ(namingOf("pgscan_direct_dma\npgfault 1\n"), (Naming{false, false, false, true, false}));
}

TEST(ReclaimNaming, nameMayBeAmongOtherBlanks) {
  EXPECT_EQ(namingOf("\tallocstall\t5\n"), (Naming{true, false, false, false, false}));
}

TEST(ReclaimNaming, isThatOfTheCountersInTheText) {
  constexpr int kTexts = 50000;
  OddTexts texts({"allocstall 188\nallocstall_dma 0\n",
                  "pgscan_kswapd_normal 1\npgscan_kswapd_high 2\npgscan_kswapd_dma 3\n",
                  "pgsteal_kswapd_dma32 1\npgsteal_kswapd_dma 2\npgsteal_kswapd 3\n",
                  "pgscan_direct_high 1\npgscan_direct_throttle 2\npgscan_direct_dma 3\n",
                  "pgsteal_direct 1\npgsteal_direct_normal 2\npgsteal_direct_movable 3\n"},
                 "0123456789 _\t\n\n\rdm");
  for (int i = 0; i < kTexts; ++i) {
    const std::string text = texts.next();
    VmstatMap map;
    vmstat_reading::addCounters(text, map);
    const auto hasZone = [&map](const std::string& name) {
      return map.contains(name + "_normal") || map.contains(name + "_high") ||
             map.contains(name + "_dma");
    };
    ASSERT_EQ(namingOf(text), (Naming{map.contains("allocstall"), hasZone("pgscan_kswapd"),
                                      hasZone("pgsteal_kswapd"), hasZone("pgscan_direct"),
                                      hasZone("pgsteal_direct")}))
        << testing::PrintToString(text);
  }
}

TEST(ReclaimNaming, staysOlderWhereItWas) {
  ReclaimNaming naming = kOlder;
  naming |= kNewer;
  EXPECT_EQ(figuresOf(naming), figuresOf(kOlder));
}

TEST(ReclaimNaming, becomesOlderFigureByFigure) {
  std::vector<Naming> joined;
  for (const char* text : {"allocstall 1\n", "pgscan_kswapd_dma 1\n", "pgsteal_kswapd_dma 1\n",
                           "pgscan_direct_dma 1\n", "pgsteal_direct_dma 1\n"}) {
    ReclaimNaming naming;
    naming |= parseReclaimNaming(text);
    joined.push_back(figuresOf(naming));
  }
  EXPECT_EQ(joined, (std::vector<Naming>{{true, false, false, false, false},
                                         {false, true, false, false, false},
                                         {false, false, true, false, false},
                                         {false, false, false, true, false},
                                         {false, false, false, false, true}}));
}

TEST(ReclaimFigures, ofARealIntervalAreOverTheNewerNames) {
  EXPECT_EQ(figuresOf(readFixture("linux-6.12-arm64/t0/proc/vmstat"),
                      readFixture("linux-6.12-arm64/t1/proc/vmstat")),
            (Figures{36, 0, 5730, 5656, 105702, 2273}));
}

TEST(ReclaimFigures, ofAnIntervalCountedByZoneAreOverTheOlderNames) {
  EXPECT_EQ(figuresOf(readFixture("made-up-3.10/t0/proc/vmstat"),
                      readFixture("made-up-3.10/t1/proc/vmstat")),
            (Figures{3, 2, 1494, 1191, 109, 70}));
}

// Each name with a digit of its own.
constexpr const char* kOlderText =
    "allocstall 7\ncompact_stall 8\n"
    "pgscan_kswapd_normal 1\npgscan_kswapd_high 10\npgscan_kswapd_dma 100\n"
    "pgsteal_kswapd_normal 2\npgsteal_kswapd_high 20\npgsteal_kswapd_dma 200\n"
    "pgscan_direct_normal 3\npgscan_direct_high 30\npgscan_direct_dma 300\n"
    "pgsteal_direct_normal 4\npgsteal_direct_high 40\npgsteal_direct_dma 400\n";
constexpr const char* kNewerText =
    "allocstall_dma 1\nallocstall_dma32 10\nallocstall_normal 100\nallocstall_movable 1000\n"
    "allocstall_device 10000\ncompact_stall 8\n"
    "pgscan_kswapd 1\npgsteal_kswapd 2\npgscan_direct 3\npgsteal_direct 4\n";

TEST(ReclaimFigures, sumTheThreeOlderZones) {
  EXPECT_EQ(figuresOf("", kOlderText), (Figures{7, 8, 111, 222, 333, 444}));
}

TEST(ReclaimFigures, sumTheStallsOfEveryNewerZone) {
  EXPECT_EQ(figuresOf("", kNewerText), (Figures{11111, 8, 1, 2, 3, 4}));
}

TEST(ReclaimFigures, areAfterMinusBefore) {
  EXPECT_EQ(figuresOf(kNewerText, ""), (Figures{-11111, -8, -1, -2, -3, -4}));
}

TEST(ReclaimFigures, ofOneOlderNameIgnoreTheNewerOnes) {
  EXPECT_EQ(figuresOf("",
                      "pgscan_kswapd 1000\npgscan_kswapd_dma 5\nallocstall 6\n"
                      "allocstall_normal 2000\n"),
            (Figures{6, 0, 5, 0, 0, 0}));
}

TEST(ReclaimFigures, ofTheNewerNamesIgnoreAFigureWithOlderOnes) {
  EXPECT_EQ(figuresOf("",
                      "pgscan_kswapd_dma 5\npgsteal_kswapd 6\npgscan_direct 7\n"
                      "pgsteal_direct_high 8\nallocstall_normal 9\n"),
            (Figures{9, 0, 5, 6, 7, 8}));
}

TEST(ReclaimFigures, neverSumBothNamings) {
  const std::string both = std::string(kOlderText) + kNewerText;
  EXPECT_EQ(figuresOf("", both), (Figures{7, 8, 111, 222, 333, 444}));
}

TEST(ReclaimFigures, ignoreTheCountOfThrottledScans) {
  EXPECT_EQ(figuresOf("", "pgscan_direct 5\npgscan_direct_throttle 100\n").at(4), 5);
}

TEST(ReclaimFigures, areNotThoseOfZerosThatAReportLeftUnderTheOlderNames) {
  VmstatMap before, after;
  vmstat_reading::addCounters(kNewerText, after);
  for (VmstatMap* map : {&before, &after}) {
    subtractReclaim(*map, *map, kOlder);
  }
  EXPECT_EQ(figuresOf(subtractReclaim(before, after, parseReclaimNaming(kNewerText))),
            (Figures{11111, 8, 1, 2, 3, 4}));
}

TEST(ReclaimFigures, addMissingNamesToBothMapsWithZero) {
  VmstatMap before, after = {{"pgscan_kswapd_normal", 5}};
  subtractReclaim(before, after, {.kswapdScansByZone = true});
  const VmstatMap looked = {
      {"allocstall_dma", 0},     {"allocstall_dma32", 0},   {"allocstall_normal", 0},
      {"allocstall_movable", 0}, {"allocstall_device", 0},  {"compact_stall", 0},
      {"pgscan_kswapd_dma", 0},  {"pgscan_kswapd_high", 0}, {"pgscan_kswapd_normal", 0},
      {"pgsteal_kswapd", 0},     {"pgscan_direct", 0},      {"pgsteal_direct", 0}};
  VmstatMap lookedAfter = looked;
  lookedAfter["pgscan_kswapd_normal"] = 5;
  EXPECT_TRUE(before == looked && after == lookedAfter)
      << testing::PrintToString(before) << testing::PrintToString(after);
}

TEST(ReclaimFigures, ofACounterThatWentBackwardsAreNegative) {
  EXPECT_EQ(figuresOf("pgscan_direct 12\n", "pgscan_direct 5\n").at(4), -7);
}

TEST(ReclaimFigures, ofACounterThatWasMissingBeforeAreItsWholeValue) {
  EXPECT_EQ(
      figuresOf("pgsteal_kswapd_normal 5\n", "pgsteal_kswapd_normal 6\npgsteal_kswapd_high 100\n")
          .at(3),
      101);
}

TEST(ReclaimFigures, wrapAroundTheRange) {
  EXPECT_EQ(figuresOf("compact_stall 9223372036854775807\n", "compact_stall -9223372036854775808\n")
                .at(1),
            1);
}

TEST(ReclaimFigures, wrapTheirSumsAroundTheRange) {
  EXPECT_EQ(figuresOf("", "pgscan_direct_normal 9223372036854775807\npgscan_direct_high 1\n").at(4),
            std::numeric_limits<int64_t>::min());
}

}  // namespace
}  // namespace tarnwick
