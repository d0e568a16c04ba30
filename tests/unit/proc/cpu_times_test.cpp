#include "proc/cpu_times.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "tests/unit/support/cpu_times_reading.h"
#include "tests/unit/support/fixture.h"
#include "tests/unit/support/odd_texts.h"

namespace tarnwick {

// Found by gtest when it prints a failure.
void PrintTo(const CpuTimes& times, std::ostream* out) {
  *out << times.user << ' ' << times.nice << ' ' << times.system << ' ' << times.idle << ' '
       << times.iowait << ' ' << times.irq << ' ' << times.softirq;
}

namespace {

using cpu_times_reading::kHeld;
using cpu_times_reading::sscanfTimesOf;
using cpu_times_reading::timesOf;

constexpr const char* kTwoCpus =
    "cpu  11 12 13 14 15 16 17 18 19 20\n"
    "cpu0 21 22 23 24 25 26 27 28 29 30\n"
    "cpu1 31 32 33 34 35 36 37 38 39 40\n"
    "intr 5\n";

TEST(CpuTimes, numbersAreInTheKernelsOrder) {
  EXPECT_EQ(timesOf(kTwoCpus, "cpu0"), (CpuTimes{21, 22, 23, 24, 25, 26, 27}));
}

TEST(CpuTimes, aggregateIsTheFirstLine) {
  EXPECT_EQ(timesOf(kTwoCpus, "cpu"), (CpuTimes{11, 12, 13, 14, 15, 16, 17}));
}

TEST(CpuTimes, lastCpuHasItsOwnLine) {
  EXPECT_EQ(timesOf(kTwoCpus, "cpu1"), (CpuTimes{31, 32, 33, 34, 35, 36, 37}));
}

TEST(CpuTimes, realTextGivesItsAggregate) {
  EXPECT_EQ(timesOf(readFixture("linux-6.1-arm64/t1/proc/stat"), "cpu"),
            (CpuTimes{958, 0, 1271, 6653, 235, 0, 39}));
}

TEST(CpuTimes, realTextGivesEachCpu) {
  EXPECT_EQ(timesOf(readFixture("linux-5.10-arm64/t0/proc/stat"), "cpu3"),
            (CpuTimes{39, 0, 121, 1706, 2, 0, 7}));
}

TEST(CpuTimes, offlineCpuReadsTheAggregate) {
  EXPECT_EQ(timesOf(readFixture("linux-6.12-arm64/t1/proc/stat"), "cpu3"),
            (CpuTimes{1139, 0, 1622, 6715, 93, 0, 27}));
}

TEST(CpuTimes, offlineCpuInTheMiddleReadsTheAggregate) {
  constexpr const char* kHole =
      "cpu  11 12 13 14 15 16 17\ncpu0 1 1 1 1 1 1 1\ncpu2 3 3 3 3 3 3 3\n";
  EXPECT_EQ(timesOf(kHole, "cpu1"), (CpuTimes{11, 12, 13, 14, 15, 16, 17}));
}

TEST(CpuTimes, offlineCpuOfTwoDigitsReadsTheAggregate) {
  EXPECT_EQ(timesOf(kTwoCpus, "cpu12"), (CpuTimes{11, 12, 13, 14, 15, 16, 17}));
}

TEST(CpuTimes, offlineCpuOfThreeDigitsReadsTheAggregate) {
  EXPECT_EQ(timesOf(kTwoCpus, "cpu123"), (CpuTimes{11, 12, 13, 14, 15, 16, 17}));
}

TEST(CpuTimes, offlineCpuOfFourDigitsMissesTheFirstDigitOfTheAggregate) {
  EXPECT_EQ(timesOf(kTwoCpus, "cpu1234"), (CpuTimes{1, 12, 13, 14, 15, 16, 17}));
}

TEST(CpuTimes, firstCpuIsNotMistakenForTheTenth) {
  std::string text = "cpu  9 9 9 9 9 9 9\n";
  for (int cpu = 0; cpu < 12; ++cpu) {
    text += "cpu" + std::to_string(cpu) + " " + std::to_string(100 + cpu) + " 0 0 0 0 0 0\n";
  }
  EXPECT_EQ(timesOf(text, "cpu1").user, 101);
}

TEST(CpuTimes, tenthCpuHasItsOwnLine) {
  std::string text = "cpu  9 9 9 9 9 9 9\n";
  for (int cpu = 0; cpu < 12; ++cpu) {
    text += "cpu" + std::to_string(cpu) + " " + std::to_string(100 + cpu) + " 0 0 0 0 0 0\n";
  }
  EXPECT_EQ(timesOf(text, "cpu10").user, 110);
}

TEST(CpuTimes, offlineFirstCpuIsMistakenForTheTenth) {
  constexpr const char* kNoFirst = "cpu  9 9 9 9 9 9 9\ncpu0 1 1 1 1 1 1 1\ncpu10 2 3 4 5 6 7 8\n";
  EXPECT_EQ(timesOf(kNoFirst, "cpu1"), (CpuTimes{0, 2, 3, 4, 5, 6, 7}));
}

TEST(CpuTimes, keyIsFoundInsideALine) {
  EXPECT_EQ(timesOf("intr cpu0 1 2 3 4 5 6 7\n", "cpu0"), (CpuTimes{1, 2, 3, 4, 5, 6, 7}));
}

TEST(CpuTimes, missingNumbersKeepWhatWasThere) {
  EXPECT_EQ(timesOf("cpu0 1 2 3\nintr", "cpu0"), (CpuTimes{1, 2, 3, -4, -5, -6, -7}));
}

TEST(CpuTimes, shortLineGoesOnWithTheNumbersOfTheNext) {
  EXPECT_EQ(timesOf("cpu0 1 2 3\n4 5 6 7\n", "cpu0"), (CpuTimes{1, 2, 3, 4, 5, 6, 7}));
}

TEST(CpuTimes, emptyTextKeepsWhatWasThere) {
  EXPECT_EQ(timesOf("", "cpu12"), kHeld);
}

TEST(CpuTimes, textShorterThanTheKeyKeepsWhatWasThere) {
  EXPECT_EQ(timesOf("cp", "cpu0"), kHeld);
}

TEST(CpuTimes, oddTextsReadAsSscanfReadsThem) {
  constexpr int kTexts = 200000;
  std::vector<std::string> lines = {kTwoCpus, "cpu  1 2 3\ncpu10 4 5 6 7 8 9 10\n"};
  for (const std::string& text : readFixtures("proc/stat")) {
    lines.push_back(text.substr(0, text.find("intr")));
  }
  OddTexts texts(lines, "0123456789 +-()\t\n\v\f\rxe.,cpu");
  const std::vector<std::string> keys = {"cpu", "cpu0", "cpu1", "cpu3", "cpu10", "cpu123"};
  for (int i = 0; i < kTexts; ++i) {
    const std::string text = texts.next();
    const std::string& key = keys[static_cast<size_t>(i) % keys.size()];
    ASSERT_EQ(timesOf(text, key), sscanfTimesOf(text, key))
        << key << " in " << testing::PrintToString(text);
  }
}

}  // namespace
}  // namespace tarnwick
