#include "sysstat/battery.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <limits>
#include <string>

#include "tests/unit/support/odd_texts.h"

namespace tarnwick {
namespace {

constexpr int64_t kHeld = -777;

// What the text gives over `kHeld`.
int64_t tempOf(std::string_view text) {
  int64_t temp = kHeld;
  parseBatteryTemp(text, temp);
  return temp;
}

TEST(BatteryTemp, isTheNumberAsItStands) {
  EXPECT_EQ(tempOf("312\n"), 312);
}

TEST(BatteryTemp, mayBeNegative) {
  EXPECT_EQ(tempOf("-50\n"), -50);
}

TEST(BatteryTemp, mayBeZero) {
  EXPECT_EQ(tempOf("0\n"), 0);
}

TEST(BatteryTemp, ofAnEmptyTextStays) {
  EXPECT_EQ(tempOf(""), kHeld);
}

TEST(BatteryTemp, ofATextWithoutNumberStays) {
  EXPECT_EQ(tempOf("unknown\n"), kHeld);
}

TEST(BatteryTemp, ofASignAloneStays) {
  EXPECT_EQ(tempOf("-\n"), kHeld);
}

TEST(BatteryTemp, endsWithItsDigits) {
  EXPECT_EQ(tempOf("31.2\n"), 31);
}

TEST(BatteryTemp, aboveTheRangeIsTheLargest) {
  EXPECT_EQ(tempOf("9223372036854775808"), std::numeric_limits<int64_t>::max());
}

TEST(BatteryTemp, belowTheRangeIsTheSmallest) {
  EXPECT_EQ(tempOf("-9223372036854775809"), std::numeric_limits<int64_t>::min());
}

TEST(BatteryTemp, oddTextsReadAsSscanfReadsThem) {
  constexpr int kTexts = 200000;
  OddTexts texts({"312\n", "-50\n", "285", " 0\n"}, "0123456789 +-\t\n\v\f\rxe.,");
  for (int i = 0; i < kTexts; ++i) {
    const std::string text = texts.next();
    int64_t expected = kHeld;
    sscanf(text.c_str(), "%ld", &expected);
    ASSERT_EQ(tempOf(text), expected) << testing::PrintToString(text);
  }
}

}  // namespace
}  // namespace tarnwick
