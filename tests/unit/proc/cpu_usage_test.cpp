#include "proc/cpu_usage.h"

#include <gtest/gtest.h>

#include <limits>

#include "tests/unit/support/counter_limits.h"
#include "tests/unit/support/fixture.h"
#include "tests/unit/support/string_sink.h"

namespace tarnwick {
namespace {

constexpr int32_t kMax32 = std::numeric_limits<int32_t>::max();
constexpr int32_t kMin32 = std::numeric_limits<int32_t>::min();

// The use between a sample of zeros and this one.
CpuUsage usageOf(const CpuTimes& after, int64_t intervalMs) {
  return cpuUsage(CpuTimes{}, after, intervalMs);
}

TEST(CpuUsage, userIsUserAndNice) {
  EXPECT_EQ(usageOf({.user = 3, .nice = 4, .system = 100, .irq = 200, .softirq = 300}, 9000).user,
            70);
}

TEST(CpuUsage, kernelIsSystemAndIrqAndSoftirq) {
  EXPECT_EQ(usageOf({.user = 100, .nice = 200, .system = 3, .irq = 4, .softirq = 5}, 9000).kernel,
            120);
}

TEST(CpuUsage, iowaitIsInMilliseconds) {
  EXPECT_EQ(usageOf({.iowait = 6}, 9000).iowait, 60);
}

TEST(CpuUsage, idleIsInMilliseconds) {
  EXPECT_EQ(usageOf({.idle = 7}, 9000).idle, 70);
}

TEST(CpuUsage, timesAreDifferences) {
  const CpuUsage usage =
      cpuUsage({100, 200, 300, 400, 500, 600, 700}, {101, 202, 304, 408, 516, 632, 764}, 9000);
  EXPECT_TRUE(usage.user == 30 && usage.kernel == 1000 && usage.idle == 80 && usage.iowait == 160);
}

TEST(CpuUsage, totalIsBusyAndIdle) {
  EXPECT_EQ(usageOf({.user = 1, .system = 2, .idle = 30, .iowait = 4}, 9000).total, 370);
}

TEST(CpuUsage, percIsTheShareOfUserAndKernel) {
  EXPECT_EQ(usageOf({.user = 10, .system = 20, .idle = 30, .iowait = 40}, 9000).perc, 30);
}

TEST(CpuUsage, percIsCutNotRounded) {
  EXPECT_EQ(usageOf({.user = 999, .idle = 1}, 90000).perc, 99);
}

TEST(CpuUsage, idleAsLongAsTheIntervalIsPlausible) {
  const CpuUsage usage = usageOf({.user = 1, .idle = 100}, 1000);
  EXPECT_EQ(usage.idle, 1000);
  EXPECT_EQ(usage.total, 1010);
}

TEST(CpuUsage, idleAboveTheIntervalIsTheRestOfIt) {
  EXPECT_EQ(usageOf({.user = 10, .system = 5, .idle = 101, .iowait = 3}, 1000).idle, 820);
}

TEST(CpuUsage, idleAboveTheIntervalMakesTheTotalTheInterval) {
  EXPECT_EQ(usageOf({.user = 10, .system = 5, .idle = 101, .iowait = 3}, 1000).total, 1000);
}

TEST(CpuUsage, idleBelowZeroIsTheRestOfTheInterval) {
  EXPECT_EQ(usageOf({.user = 10, .idle = -1}, 1000).idle, 900);
}

TEST(CpuUsage, idleBelowZeroMakesTheTotalTheInterval) {
  EXPECT_EQ(usageOf({.user = 10, .idle = -1}, 1000).total, 1000);
}

TEST(CpuUsage, idleOfZeroIsPlausible) {
  EXPECT_EQ(usageOf({.user = 10, .idle = 0}, 1000).total, 100);
}

TEST(CpuUsage, restOfTheIntervalMayBeNegative) {
  EXPECT_EQ(usageOf({.user = 90, .system = 30, .idle = -1}, 1000).idle, -200);
}

TEST(CpuUsage, percOfAnImplausibleIdleIsTheShareOfTheInterval) {
  EXPECT_EQ(usageOf({.user = 10, .system = 15, .idle = -1}, 1000).perc, 25);
}

TEST(CpuUsage, iowaitThatWentBackwardsIsZero) {
  EXPECT_EQ(usageOf({.idle = 20, .iowait = -5}, 1000).iowait, 0);
}

TEST(CpuUsage, iowaitThatWentBackwardsMakesTheTotalTheInterval) {
  EXPECT_EQ(usageOf({.user = 10, .idle = 20, .iowait = -5}, 1000).total, 1000);
}

TEST(CpuUsage, iowaitThatWentBackwardsLeavesIdleAlone) {
  EXPECT_EQ(usageOf({.user = 10, .idle = 20, .iowait = -5}, 1000).idle, 200);
}

TEST(CpuUsage, restOfTheIntervalIgnoresAnIowaitThatWentBackwards) {
  EXPECT_EQ(usageOf({.user = 10, .idle = 200, .iowait = -5}, 1000).idle, 900);
}

TEST(CpuUsage, iowaitOfZeroLeavesTheTotalAlone) {
  EXPECT_EQ(usageOf({.user = 10, .idle = 20, .iowait = 0}, 1000).total, 300);
}

TEST(CpuUsage, emptyIntervalWithIdleTimeShowsWhatBusyLacks) {
  EXPECT_EQ(usageOf({.user = 3, .system = 4, .idle = 50, .iowait = 5}, 0).idle, -120);
}

TEST(CpuUsage, emptyIntervalWithIdleTimeHasNoTotal) {
  EXPECT_EQ(usageOf({.user = 3, .system = 4, .idle = 50, .iowait = 5}, 0).total, 0);
}

TEST(CpuUsage, workInNoTotalIsTheLargestPerc) {
  EXPECT_EQ(usageOf({.user = 3, .idle = 50}, 0).perc, kMax32);
}

TEST(CpuUsage, lessThanNoWorkInNoTotalIsTheSmallestPerc) {
  EXPECT_EQ(usageOf({.user = -3, .idle = 50}, 0).perc, kMin32);
}

TEST(CpuUsage, noWorkInNoTotalIsZeroPerc) {
  EXPECT_EQ(usageOf({.idle = 50}, 0).perc, 0);
}

TEST(CpuUsage, nothingAtAllIsZeroPerc) {
  EXPECT_EQ(usageOf({}, 1000).perc, 0);
}

TEST(CpuUsage, percSaturatesAtTheLargest) {
  EXPECT_EQ(usageOf({.user = 30'000'000, .idle = -1}, 10).perc, kMax32);
}

TEST(CpuUsage, percSaturatesAtTheSmallest) {
  EXPECT_EQ(usageOf({.user = 30'000'000, .idle = -1}, -10).perc, kMin32);
}

TEST(CpuUsage, countersAtTheEndsOfTheRangeWrap) {
  const CpuTimes largest = {kMax, kMax, kMax, kMax, kMax, kMax, kMax};
  const CpuTimes smallest = {kMin, kMin, kMin, kMin, kMin, kMin, kMin};
  // Each counter gained 1 modulo 2^64.
  const CpuUsage usage = cpuUsage(largest, smallest, kMax);
  EXPECT_TRUE(usage.user == 20 && usage.kernel == 30 && usage.idle == 10 && usage.iowait == 10 &&
              usage.total == 70);
}

TEST(CpuUsage, largestCountersAreDefined) {
  const CpuUsage usage = usageOf({kMax, kMax, kMax, kMax, kMax, kMax, kMax}, kMin);
  // 10 * (2^63 - 1) is -10 modulo 2^64.
  EXPECT_TRUE(usage.user == -20 && usage.kernel == -30 && usage.iowait == -10);
}

TEST(CpuUsage, smallestCountersAreDefined) {
  const CpuUsage usage = usageOf({kMin, kMin, kMin, kMin, kMin, kMin, kMin}, kMax);
  // An even multiple of 2^63 is 0 modulo 2^64.
  EXPECT_TRUE(usage.user == 0 && usage.kernel == 0 && usage.iowait == 0 && usage.idle == kMax);
}

TEST(CpuUsage, smallestIntervalIsDefined) {
  // The rest of the interval wraps: -2^63 - 10.
  EXPECT_EQ(usageOf({.user = 1}, kMin).idle, kMax - 9);
}

TEST(CpuUsage, oneTickOfWorkIsWork) {
  EXPECT_TRUE(usageOf({.system = 1, .idle = 100}, 2000).worked());
}

TEST(CpuUsage, waitingForBlockDevicesIsWork) {
  EXPECT_TRUE(usageOf({.idle = 100, .iowait = 1}, 2000).worked());
}

TEST(CpuUsage, idleTimeIsNoWork) {
  EXPECT_FALSE(usageOf({.idle = 100}, 2000).worked());
}

TEST(CpuUsage, iowaitThatWentBackwardsIsNoWork) {
  EXPECT_FALSE(usageOf({.idle = 100, .iowait = -1}, 2000).worked());
}

TEST(CpuUsage, iowaitThatWentBackwardsTakesNoWorkAway) {
  EXPECT_TRUE(usageOf({.user = 1, .iowait = -5}, 2000).worked());
}

TEST(CpuUsage, timeThatWentBackwardsIsNoWork) {
  EXPECT_FALSE(usageOf({.user = -2, .system = 1}, 2000).worked());
}

TEST(CpuUsage, busyAndIdleCpuOfARealKernel) {
  CpuTimes before;
  CpuTimes after;
  parseCpuTimes(readFixture("linux-6.1-arm64/t0/proc/stat"), "cpu1", before);
  parseCpuTimes(readFixture("linux-6.1-arm64/t1/proc/stat"), "cpu1", after);
  StringSink sink;
  formatCpuUsage(1, cpuUsage(before, after, 8000), sink);
  EXPECT_EQ(sink.text(),
            "cpu 1: user=440   kernel=3020  idle=310   iowait=2060  total=5830   perc=59 ");
}

TEST(CpuUsageLine, padsItsColumns) {
  StringSink sink;
  formatCpuUsage(3, {.user = 1, .kernel = 2, .idle = 3, .iowait = 4, .total = 5, .perc = 6}, sink);
  EXPECT_EQ(sink.text(),
            "cpu 3: user=1     kernel=2     idle=3     iowait=4     total=5      perc=6  ");
}

TEST(CpuUsageLine, showsWideNumbersWhole) {
  StringSink sink;
  formatCpuUsage(12,
                 {.user = 1234567,
                  .kernel = -234567,
                  .idle = 3456789,
                  .iowait = 4567890,
                  .total = 56789012,
                  .perc = kMin32},
                 sink);
  EXPECT_EQ(sink.text(),
            "cpu12: user=1234567 kernel=-234567 idle=3456789 iowait=4567890 total=56789012 "
            "perc=-2147483648");
}

TEST(CpuUsageLine, isOneRecord) {
  StringSink sink;
  formatCpuUsage(0, {}, sink);
  EXPECT_EQ(sink.records().size(), 1U);
}

TEST(AggregateUsageLine, padsItsColumns) {
  StringSink sink;
  formatAggregateUsage({.user = 1, .kernel = 2, .idle = 3, .iowait = 4, .total = 5, .perc = 6},
                       sink);
  EXPECT_EQ(sink.text(),
            "cpu  : user=1     kernel=2     idle=3     iowait=4     total=5      perc=6  ");
}

TEST(AggregateUsageLine, isOneRecord) {
  StringSink sink;
  formatAggregateUsage({}, sink);
  EXPECT_EQ(sink.records().size(), 1U);
}

}  // namespace
}  // namespace tarnwick
