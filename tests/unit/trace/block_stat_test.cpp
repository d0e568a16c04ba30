#include "trace/block_stat.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/unit/support/block_stat_reading.h"
#include "tests/unit/support/counter_limits.h"
#include "tests/unit/support/fixture.h"
#include "tests/unit/support/odd_texts.h"

namespace tarnwick {
namespace {

using block_stat_reading::sscanfStatsOf;

BlockStats sumOf(BlockStats sums, const BlockStats& disk) {
  addBlockStats(disk, sums);
  return sums;
}

TEST(BlockStat, numbersAreInTheKernelsOrder) {
  EXPECT_EQ(parseBlockStat("1 2 3 4 5 6 7 8 9 10 11\n"),
            (BlockStats{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}));
}

TEST(BlockStat, fieldsHaveTheirNames) {
  const BlockStats stats = parseBlockStat("1 2 3 4 5 6 7 8 9 10 11\n");
  EXPECT_EQ(
      (BlockStats{stats[kReadsCompleted], stats[kReadsMerged], stats[kSectorsRead], stats[kReadMs],
                  stats[kWritesCompleted], stats[kWritesMerged], stats[kSectorsWritten],
                  stats[kWriteMs], stats[kIoInFlight], stats[kIoMs], stats[kQueueMs]}),
      (BlockStats{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}));
}

TEST(BlockStat, realTextGivesItsFirstElevenNumbers) {
  EXPECT_EQ(parseBlockStat(readFixture("linux-6.12-arm64/t1/sys/block/mmcblk0/stat")),
            (BlockStats{1190, 7, 8718, 4817, 1074, 14, 135266, 10037, 0, 13504, 14855}));
}

TEST(BlockStat, missingNumbersAreZero) {
  EXPECT_EQ(parseBlockStat("1 2 3"), (BlockStats{1, 2, 3}));
}

TEST(BlockStat, numbersBehindOneThatDoesNotParseAreZero) {
  EXPECT_EQ(parseBlockStat("1 2 x 4 5 6 7 8 9 10 11"), (BlockStats{1, 2}));
}

TEST(BlockStat, ofAnEmptyTextIsZeros) {
  EXPECT_EQ(parseBlockStat(""), BlockStats{});
}

TEST(BlockStat, numbersAreSigned) {
  EXPECT_EQ(parseBlockStat("0 0 0 0 0 0 0 0 -1 0 0")[kIoInFlight], -1);
}

TEST(BlockStat, numbersAboveTheRangeAreTheLargest) {
  EXPECT_EQ(parseBlockStat("18446744073709551615")[kReadsCompleted], kMax);
}

TEST(BlockStat, numbersGoOnBehindANewline) {
  EXPECT_EQ(parseBlockStat("1\n2\n"), (BlockStats{1, 2}));
}

TEST(BlockStat, oddTextsReadAsSscanfReadsThem) {
  constexpr int kTexts = 200000;
  std::vector<std::string> real = readFixtures("sys/block", "stat");
  real.insert(real.end(), {"1 2 3 4 5 6 7 8 9 10 11\n", "1 2 3 4 5 6 7 8 9 10 11 12 13\n"});
  OddTexts texts(real, "0123456789 +-\t\n\v\f\rxe.,");
  for (int i = 0; i < kTexts; ++i) {
    // A second text makes rows of more than eleven numbers.
    const std::string text = i % 3 == 0 ? texts.next() + " " + texts.next() : texts.next();
    ASSERT_EQ(parseBlockStat(text), sscanfStatsOf(text)) << testing::PrintToString(text);
  }
}

TEST(BlockSums, areFieldByField) {
  EXPECT_EQ(sumOf({100, 200, 300, 400, 500, 600, 700, 800, 900, 1000, 1100},
                  {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}),
            (BlockStats{101, 202, 303, 404, 505, 606, 707, 808, 909, 1010, 1111}));
}

TEST(BlockSums, wrapAroundTheRange) {
  EXPECT_EQ(sumOf({kMax, kMin}, {1, -1}), (BlockStats{kMin, kMax}));
}

TEST(SampledDisk, isAnyNameThatBeginsWithSd) {
  for (const char* name : {"sda", "sdb", "sdaa", "sd", "sda1", "sdcard"}) {
    EXPECT_TRUE(isSampledDisk(name)) << name;
  }
}

TEST(SampledDisk, isTheFirstMmcDevice) {
  EXPECT_TRUE(isSampledDisk("mmcblk0"));
}

TEST(SampledDisk, isNoPartOrAreaOfTheMmcDevice) {
  for (const char* name : {"mmcblk0p1", "mmcblk0boot0", "mmcblk0boot1", "mmcblk0rpmb"}) {
    EXPECT_FALSE(isSampledDisk(name)) << name;
  }
}

TEST(SampledDisk, isNoOtherMmcDevice) {
  for (const char* name : {"mmcblk1", "mmcblk", "mmcblk10", "mmcblk9"}) {
    EXPECT_FALSE(isSampledDisk(name)) << name;
  }
}

TEST(SampledDisk, isNoDeviceOfAnotherKind) {
  for (const char* name : {"loop0", "zram0", "ram0", "dm-0", "vda", "nvme0n1", "sr0", "md0"}) {
    EXPECT_FALSE(isSampledDisk(name)) << name;
  }
}

TEST(SampledDisk, isNoNameThatContainsOne) {
  for (const char* name : {"", "s", ".", "..", "asda", "Sda", " sda", "xmmcblk0", "MMCBLK0"}) {
    EXPECT_FALSE(isSampledDisk(name)) << name;
  }
}

}  // namespace
}  // namespace tarnwick
