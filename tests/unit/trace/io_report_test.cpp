#include "trace/io_report.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/unit/support/counter_limits.h"
#include "tests/unit/support/fixture.h"
#include "tests/unit/support/string_sink.h"
#include "tests/unit/support/vmstat_reading.h"

namespace tarnwick {
namespace {

std::string ioLine(const BlockStats& before, const BlockStats& after, VmstatMap vmstatBefore = {},
                   VmstatMap vmstatAfter = {}) {
  StringSink sink;
  formatIo(before, after, vmstatBefore, vmstatAfter, sink);
  return sink.text();
}

// The part of the line that shows sectors in kilobytes.
std::string kbOf(int64_t sectorsRead, int64_t sectorsWritten) {
  BlockStats after{};
  after[kSectorsRead] = sectorsRead;
  after[kSectorsWritten] = sectorsWritten;
  const std::string line = ioLine({}, after);
  const size_t start = line.find("rw_kb=");
  return line.substr(start, line.find(' ', start) - start);
}

TEST(IoLine, hasEachFieldInItsPlace) {
  EXPECT_EQ(ioLine({}, {1, 2, 6, 4, 5, 60, 70, 8, 9, 10, 11}, {},
                   {{"pswpin", 12}, {"pswpout", 13}, {"pgmajfault", 14}}),
            "rw_reqs=1/5 rw_merges=2/60 rw_kb=3/35 rw_ms=4/8 total_ms=10 total_queue_ms=11 "
            "swap_inout_kb=12/13 maj_flt=14\n");
}

TEST(IoLine, isAfterMinusBefore) {
  EXPECT_EQ(ioLine({100, 200, 300, 400, 500, 600, 700, 800, 900, 1000, 1100},
                   {101, 202, 306, 404, 505, 606, 714, 808, 909, 1010, 1111},
                   {{"pswpin", 1200}, {"pswpout", 1300}, {"pgmajfault", 1400}},
                   {{"pswpin", 1212}, {"pswpout", 1313}, {"pgmajfault", 1414}}),
            "rw_reqs=1/5 rw_merges=2/6 rw_kb=3/7 rw_ms=4/8 total_ms=10 total_queue_ms=11 "
            "swap_inout_kb=12/13 maj_flt=14\n");
}

TEST(IoLine, ofARealInterval) {
  const std::string before = "linux-6.12-arm64/t0/";
  const std::string after = "linux-6.12-arm64/t1/";
  VmstatMap vmstatBefore, vmstatAfter;
  vmstat_reading::addCounters(readFixture(before + "proc/vmstat"), vmstatBefore);
  vmstat_reading::addCounters(readFixture(after + "proc/vmstat"), vmstatAfter);
  EXPECT_EQ(ioLine(parseBlockStat(readFixture(before + "sys/block/mmcblk0/stat")),
                   parseBlockStat(readFixture(after + "sys/block/mmcblk0/stat")), vmstatBefore,
                   vmstatAfter),
            "rw_reqs=1005/1010 rw_merges=0/2 rw_kb=4020/64390 rw_ms=2945/8722 total_ms=11392 "
            "total_queue_ms=11668 swap_inout_kb=154/1636 maj_flt=80\n");
}

TEST(IoLine, ofNothingIsZeros) {
  EXPECT_EQ(ioLine({}, {}),
            "rw_reqs=0/0 rw_merges=0/0 rw_kb=0/0 rw_ms=0/0 total_ms=0 total_queue_ms=0 "
            "swap_inout_kb=0/0 maj_flt=0\n");
}

TEST(IoLine, doesNotShowRequestsInFlight) {
  BlockStats after{};
  after[kIoInFlight] = 7;
  EXPECT_EQ(ioLine({}, after), ioLine({}, {}));
}

TEST(IoLine, oddSectorsAreCutTowardZero) {
  EXPECT_EQ(kbOf(7, 9), "rw_kb=3/4");
}

TEST(IoLine, negativeOddSectorsAreCutTowardZero) {
  EXPECT_EQ(kbOf(-7, -9), "rw_kb=-3/-4");
}

TEST(IoLine, oneSectorIsNoKilobyte) {
  EXPECT_EQ(kbOf(1, -1), "rw_kb=0/0");
}

TEST(IoLine, sectorsAreSubtractedBeforeTheyAreHalved) {
  BlockStats before{}, after{};
  before[kSectorsRead] = 1;
  after[kSectorsRead] = 2;
  EXPECT_EQ(ioLine(before, after), ioLine({}, {}));
}

TEST(IoLine, countersThatWentBackwardsAreNegative) {
  EXPECT_EQ(ioLine({1, 2, 6, 4, 5, 60, 70, 8, 9, 10, 11}, {},
                   {{"pswpin", 12}, {"pswpout", 13}, {"pgmajfault", 14}}),
            "rw_reqs=-1/-5 rw_merges=-2/-60 rw_kb=-3/-35 rw_ms=-4/-8 total_ms=-10 "
            "total_queue_ms=-11 swap_inout_kb=-12/-13 maj_flt=-14\n");
}

TEST(IoLine, wrapsAroundTheRange) {
  BlockStats before{}, after{};
  before.fill(kMax);
  after.fill(kMin);
  EXPECT_EQ(ioLine(before, after, {{"pswpin", kMax}, {"pswpout", kMax}, {"pgmajfault", kMax}},
                   {{"pswpin", kMin}, {"pswpout", kMin}, {"pgmajfault", kMin}}),
            "rw_reqs=1/1 rw_merges=1/1 rw_kb=0/0 rw_ms=1/1 total_ms=1 total_queue_ms=1 "
            "swap_inout_kb=1/1 maj_flt=1\n");
}

TEST(IoLine, halvesTheSmallestDifference) {
  EXPECT_EQ(kbOf(kMin, kMax), "rw_kb=-4611686018427387904/4611686018427387903");
}

TEST(IoLine, addsMissingNamesToBothMapsWithZero) {
  VmstatMap before = {{"pswpin", 3}};
  VmstatMap after = {{"pswpout", 4}};
  StringSink sink;
  formatIo({}, {}, before, after, sink);
  EXPECT_TRUE(before == (VmstatMap{{"pswpin", 3}, {"pswpout", 0}, {"pgmajfault", 0}}) &&
              after == (VmstatMap{{"pswpin", 0}, {"pswpout", 4}, {"pgmajfault", 0}}))
      << testing::PrintToString(before) << testing::PrintToString(after);
}

TEST(IoLine, isOneRecord) {
  StringSink sink;
  VmstatMap before, after;
  formatIo({}, {}, before, after, sink);
  EXPECT_EQ(sink.records().size(), 1U);
}

}  // namespace
}  // namespace tarnwick
