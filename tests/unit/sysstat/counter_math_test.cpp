#include "sysstat/counter_math.h"

#include <gtest/gtest.h>

#include <limits>

#include "tests/unit/support/counter_limits.h"

namespace tarnwick {
namespace {

constexpr int32_t kMax32 = std::numeric_limits<int32_t>::max();
constexpr int32_t kMin32 = std::numeric_limits<int32_t>::min();

TEST(CounterMath, differenceIsAfterMinusBefore) {
  EXPECT_EQ(difference(958, 97), 861);
}

TEST(CounterMath, differenceOfACounterThatWentBackwardsIsNegative) {
  EXPECT_EQ(difference(5, 12), -7);
}

TEST(CounterMath, differenceWrapsAroundTheRange) {
  EXPECT_EQ(difference(kMin, kMax), 1);
}

TEST(CounterMath, addSums) {
  EXPECT_EQ(add(40, -2), 38);
}

TEST(CounterMath, addWrapsAroundTheRange) {
  EXPECT_EQ(add(kMax, 1), kMin);
}

TEST(CounterMath, multiplyKeepsTheSign) {
  EXPECT_EQ(multiply(-3, 2000), -6000);
}

TEST(CounterMath, multiplyWrapsAroundTheRange) {
  EXPECT_EQ(multiply(kMax, 2), -2);
}

TEST(CounterMath, aTickIsTenMilliseconds) {
  EXPECT_EQ(ticksToMs(861), 8610);
}

TEST(CounterMath, ticksBeyondTheRangeWrap) {
  EXPECT_EQ(ticksToMs(kMax), -10);
}

TEST(CounterMath, nanosecondsAreCutToMilliseconds) {
  EXPECT_EQ(nsToMs(1999999), 1);
}

TEST(CounterMath, aWholeMillisecondOfNanosecondsIsOne) {
  EXPECT_EQ(nsToMs(1000000), 1);
}

TEST(CounterMath, negativeNanosecondsAreCutTowardZero) {
  EXPECT_EQ(nsToMs(-1999999), -1);
}

TEST(CounterMath, nanosecondsAreDividedAsDoubles) {
  // The double next to it is a whole number of milliseconds; the integer is one nanosecond short.
  EXPECT_EQ(nsToMs(9007199999999999999), 9007200000000);
}

TEST(CounterMath, percentIsTheShareOfAHundred) {
  EXPECT_EQ(percent(30, 40), 75);
}

TEST(CounterMath, percentIsCutTowardZero) {
  EXPECT_EQ(percent(199, 200), 99);
}

TEST(CounterMath, negativePercentIsCutTowardZero) {
  EXPECT_EQ(percent(-199, 200), -99);
}

TEST(CounterMath, percentMayExceedAHundred) {
  EXPECT_EQ(percent(50, 20), 250);
}

TEST(CounterMath, percentOfANegativeWholeIsNegative) {
  EXPECT_EQ(percent(10, -40), -25);
}

TEST(CounterMath, percentMultipliesAfterItDivides) {
  // As a double, 29 / 100 is a little less than that.
  EXPECT_EQ(percent(29, 100), 28);
}

TEST(CounterMath, percentOfNothingInNothingIsZero) {
  EXPECT_EQ(percent(0, 0), 0);
}

TEST(CounterMath, percentOfSomethingInNothingIsTheLargest) {
  EXPECT_EQ(percent(1, 0), kMax32);
}

TEST(CounterMath, percentOfLessThanNothingInNothingIsTheSmallest) {
  EXPECT_EQ(percent(-1, 0), kMin32);
}

TEST(CounterMath, percentAboveTheRangeIsTheLargest) {
  EXPECT_EQ(percent(kMax, 1), kMax32);
}

TEST(CounterMath, percentBelowTheRangeIsTheSmallest) {
  EXPECT_EQ(percent(kMin, 1), kMin32);
}

TEST(CounterMath, percentJustWithinTheRangeIsExact) {
  EXPECT_EQ(percent(21474836, 1), 2147483600);
  EXPECT_EQ(percent(-21474836, 1), -2147483600);
}

TEST(CounterMath, percentJustOutsideTheRangeIsItsEnd) {
  EXPECT_EQ(percent(21474837, 1), kMax32);
  EXPECT_EQ(percent(-21474837, 1), kMin32);
}

}  // namespace
}  // namespace tarnwick
