#include "sysstat/scan.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <string>

#include "tests/unit/support/counter_limits.h"
#include "tests/unit/support/odd_texts.h"

namespace tarnwick {
namespace {

constexpr int kNumberTexts = 200000;
constexpr uint64_t kMaxUnsigned = std::numeric_limits<uint64_t>::max();

int64_t numberIn(std::string_view text) {
  int64_t number = -77;
  Scanner(text).number(number);
  return number;
}

int32_t integerIn(std::string_view text) {
  int32_t integer = -77;
  Scanner(text).integer(integer);
  return integer;
}

uint64_t unsignedIn(std::string_view text) {
  uint64_t number = 77;
  Scanner(text).unsignedNumber(number);
  return number;
}

uint16_t shortIn(std::string_view text) {
  uint16_t number = 77;
  Scanner(text).unsignedShort(number);
  return number;
}

uint64_t hexIn(std::string_view text) {
  uint64_t number = 77;
  Scanner(text).hexNumber(number);
  return number;
}

double realIn(std::string_view text) {
  double number = 77;
  Scanner(text).real(number);
  return number;
}

// What is left of the text behind its number.
std::string_view behindHexIn(std::string_view text) {
  Scanner scan(text);
  uint64_t number = 0;
  scan.hexNumber(number);
  return scan.rest();
}

std::string_view behindRealIn(std::string_view text) {
  Scanner scan(text);
  double number = 0;
  scan.real(number);
  return scan.rest();
}

TEST(Scanner, numberPassesOverEveryKindOfBlank) {
  EXPECT_EQ(numberIn(" \t\n\v\f\r42"), 42);
}

TEST(Scanner, numberEndsAtTheFirstOtherCharacter) {
  EXPECT_EQ(numberIn("0x10"), 0);
}

TEST(Scanner, numberMayHaveAMinus) {
  EXPECT_EQ(numberIn("-42"), -42);
}

TEST(Scanner, numberMayHaveAPlus) {
  EXPECT_EQ(numberIn("+42"), 42);
}

TEST(Scanner, numberIsDecimalDespiteLeadingZeros) {
  EXPECT_EQ(numberIn("00010"), 10);
}

TEST(Scanner, largestNumberIsExact) {
  EXPECT_EQ(numberIn("9223372036854775807"), kMax);
}

TEST(Scanner, smallestNumberIsExact) {
  EXPECT_EQ(numberIn("-9223372036854775808"), kMin);
}

TEST(Scanner, numberAboveTheRangeIsTheLargest) {
  EXPECT_EQ(numberIn("9223372036854775808"), kMax);
}

TEST(Scanner, numberBelowTheRangeIsTheSmallest) {
  EXPECT_EQ(numberIn("-9223372036854775809"), kMin);
}

TEST(Scanner, numberOfManyDigitsStaysTheLargest) {
  EXPECT_EQ(numberIn("100000000000000000000000000000000000000000"), kMax);
}

TEST(Scanner, failedNumberLeavesItsOutputAlone) {
  EXPECT_EQ(numberIn("- 1"), -77);
}

TEST(Scanner, emptyTextHasNoNumber) {
  EXPECT_EQ(numberIn(""), -77);
}

TEST(Scanner, twoSignsAreNoNumber) {
  EXPECT_EQ(numberIn("+-1"), -77);
}

TEST(Scanner, integerKeepsTheLowHalf) {
  EXPECT_EQ(integerIn("4294967297"), 1);
}

TEST(Scanner, integerAboveThe64BitRangeIsMinusOne) {
  EXPECT_EQ(integerIn("9223372036854775808"), -1);
}

TEST(Scanner, failedIntegerLeavesItsOutputAlone) {
  EXPECT_EQ(integerIn("x"), -77);
}

TEST(Scanner, skipsAsManyNumbersAsItIsTold) {
  Scanner scan("1 -2 99999999999999999999 4");
  int64_t number = 0;
  EXPECT_TRUE(scan.skipNumbers(3));
  scan.number(number);
  EXPECT_EQ(number, 4);
}

TEST(Scanner, skippingFailsWhereANumberIsMissing) {
  EXPECT_FALSE(Scanner("1 2 x").skipNumbers(3));
}

TEST(Scanner, skippingNoneSucceedsAnywhere) {
  EXPECT_TRUE(Scanner("").skipNumbers(0));
}

TEST(Scanner, unsignedNumberPassesOverEveryKindOfBlank) {
  EXPECT_EQ(unsignedIn(" \t\n\v\f\r42"), 42U);
}

TEST(Scanner, largestUnsignedNumberIsExact) {
  EXPECT_EQ(unsignedIn("18446744073709551615"), kMaxUnsigned);
}

TEST(Scanner, unsignedNumberAboveTheRangeIsTheLargest) {
  EXPECT_EQ(unsignedIn("18446744073709551616"), kMaxUnsigned);
}

TEST(Scanner, unsignedNumberOfManyDigitsStaysTheLargest) {
  EXPECT_EQ(unsignedIn("1000000000000000000000000000000000000000"), kMaxUnsigned);
}

TEST(Scanner, minusNegatesAnUnsignedNumber) {
  EXPECT_EQ(unsignedIn("-2"), kMaxUnsigned - 1);
}

TEST(Scanner, unsignedNumberMayHaveAPlus) {
  EXPECT_EQ(unsignedIn("+2"), 2U);
}

TEST(Scanner, minusDoesNotNegateWhatIsAboveTheRange) {
  EXPECT_EQ(unsignedIn("-18446744073709551616"), kMaxUnsigned);
}

TEST(Scanner, unsignedNumberIsDecimal) {
  EXPECT_EQ(unsignedIn("0x10"), 0U);
}

TEST(Scanner, failedUnsignedNumberLeavesItsOutputAlone) {
  EXPECT_EQ(unsignedIn("- 1"), 77U);
}

TEST(Scanner, emptyTextHasNoUnsignedNumber) {
  uint64_t number = 0;
  EXPECT_FALSE(Scanner("").unsignedNumber(number));
}

TEST(Scanner, shortKeepsTheLow16Bits) {
  EXPECT_EQ(shortIn("65539"), 3U);
}

TEST(Scanner, shortAboveThe64BitRangeIsTheLargest) {
  EXPECT_EQ(shortIn("18446744073709551619"), 65535U);
}

TEST(Scanner, failedShortLeavesItsOutputAlone) {
  EXPECT_EQ(shortIn("x"), 77U);
}

TEST(Scanner, hexNumberHasDigitsOfBothCases) {
  EXPECT_EQ(hexIn("09afAF"), 0x9afafU);
}

TEST(Scanner, hexNumberMayStartWith0x) {
  EXPECT_EQ(hexIn("0x1f"), 0x1fU);
}

TEST(Scanner, hexNumberMayStartWithALarge0X) {
  EXPECT_EQ(hexIn("0X1f"), 0x1fU);
}

TEST(Scanner, hexNumberMayHaveASignBefore0x) {
  EXPECT_EQ(hexIn("-0x1"), kMaxUnsigned);
}

TEST(Scanner, lone0xIsTheNumber0) {
  EXPECT_EQ(hexIn("0xg"), 0U);
}

TEST(Scanner, lone0xIsPassedOver) {
  EXPECT_EQ(behindHexIn("0xg"), "g");
}

TEST(Scanner, hexNumberEndsBeforeASecondX) {
  EXPECT_EQ(behindHexIn("00x1"), "x1");
}

TEST(Scanner, hexNumberEndsBeforeTheLetterG) {
  EXPECT_EQ(behindHexIn("fg"), "g");
}

TEST(Scanner, largestHexNumberIsExact) {
  EXPECT_EQ(hexIn("fffffffffffffffe"), kMaxUnsigned - 1);
}

TEST(Scanner, hexNumberAboveTheRangeIsTheLargest) {
  EXPECT_EQ(hexIn("10000000000000000"), kMaxUnsigned);
}

TEST(Scanner, failedHexNumberLeavesItsOutputAlone) {
  EXPECT_EQ(hexIn("x1"), 77U);
}

TEST(Scanner, realHasDecimals) {
  EXPECT_EQ(realIn("   35.993650:"), 35.993650);
}

TEST(Scanner, realNeedsNoDecimals) {
  EXPECT_EQ(realIn("35"), 35.0);
}

TEST(Scanner, realMayEndWithItsPoint) {
  EXPECT_EQ(behindRealIn("35.:"), ":");
}

TEST(Scanner, realOf15DigitsIsExact) {
  EXPECT_EQ(realIn("999999999.999999"), 999999999.999999);
}

TEST(Scanner, realOf16DigitsIsExact) {
  EXPECT_EQ(realIn("9007199254.740993"), 9007199254.740993);
}

TEST(Scanner, realOfManyDigitsIsExact) {
  EXPECT_EQ(realIn("0.1000000000000000055511151231257827021181583404541015625"), 0.1);
}

TEST(Scanner, realMayHaveAMinus) {
  EXPECT_EQ(realIn("-0.5"), -0.5);
}

TEST(Scanner, realMayHaveAnExponent) {
  EXPECT_EQ(realIn("25e-1"), 2.5);
}

TEST(Scanner, realEndsAtASecondPoint) {
  EXPECT_EQ(behindRealIn("1.5.7"), ".7");
}

TEST(Scanner, realLeavesTheColonBehindIt) {
  EXPECT_EQ(behindRealIn(" 35.993650: x"), ": x");
}

TEST(Scanner, realLeavesWhatFollowsAnUnusualOne) {
  EXPECT_EQ(behindRealIn(" 1e3x"), "x");
}

TEST(Scanner, failedRealLeavesItsOutputAlone) {
  EXPECT_EQ(realIn("x"), 77.0);
}

TEST(Scanner, emptyTextHasNoReal) {
  double number = 0;
  EXPECT_FALSE(Scanner("").real(number));
}

TEST(Scanner, realEndsWithTheTextAndNotBehindIt) {
  EXPECT_EQ(realIn(std::string_view("1.25e3").substr(0, 4)), 1.25);
}

TEST(Scanner, unusualRealEndsWithTheTextAndNotBehindIt) {
  EXPECT_EQ(realIn(std::string_view("-1.25e3").substr(0, 5)), -1.25);
}

// The rows of conversions below end with the count of what came through, which sscanf returns: it
// tells a conversion that failed from one that gave the value that was there before.
// Where all came through, the places where they stopped are compared too.

constexpr const char* kNumberAlphabet = "0123456789 +-()\t\n\v\f\rxe.,";

TEST(Scanner, readsNumbersAsSscanfDoes) {
  OddTexts texts({"221 0 365", "18446744073709551615 -1 +7", "  958 0 1271 6653"}, kNumberAlphabet);
  for (int i = 0; i < kNumberTexts; ++i) {
    const std::string text = texts.next();
    int64_t a = -1, b = -2, c = -3;
    Scanner scan(text);
    const int count = !scan.number(a) ? 0 : !scan.number(b) ? 1 : !scan.number(c) ? 2 : 3;
    int64_t x = -1, y = -2, z = -3;
    const int expected = std::max(sscanf(text.c_str(), "%ld %ld %ld", &x, &y, &z), 0);
    ASSERT_TRUE(count == expected && a == x && b == y && c == z) << testing::PrintToString(text);
  }
}

TEST(Scanner, readsIntegersAndCharactersAsSscanfDoes) {
  OddTexts texts({"190 S 159 0", "4294967297\tR -2147483649", "7 x+8"}, kNumberAlphabet);
  for (int i = 0; i < kNumberTexts; ++i) {
    const std::string text = texts.next();
    int32_t a = -1, c = -3;
    char b = '#', d = '#';
    Scanner scan(text);
    int count = 0;
    if (scan.integer(a)) {
      scan.space();
      count = !scan.character(b) ? 1 : !scan.integer(c) ? 2 : !scan.character(d) ? 3 : 4;
    }
    int32_t x = -1, z = -3;
    char y = '#', t = '#';
    const int expected = std::max(sscanf(text.c_str(), "%d %c %d%c", &x, &y, &z, &t), 0);
    ASSERT_TRUE(count == expected && a == x && b == y && c == z && d == t)
        << testing::PrintToString(text);
  }
}

TEST(Scanner, skipsNumbersAsSscanfDoes) {
  OddTexts texts({"0 0 0 -1 4194304", "20 0 1 0 1789 864256", "1 2 3 4"}, kNumberAlphabet);
  for (int i = 0; i < kNumberTexts; ++i) {
    const std::string text = texts.next();
    int64_t number = -1;
    Scanner scan(text);
    const int count = scan.skipNumbers(3) && scan.number(number) ? 1 : 0;
    int64_t expectedNumber = -1;
    const int expected = std::max(sscanf(text.c_str(), "%*d %*d %*d %ld", &expectedNumber), 0);
    ASSERT_TRUE(count == expected && number == expectedNumber) << testing::PrintToString(text);
  }
}

TEST(Scanner, readsUnsignedNumbersAsSscanfDoes) {
  OddTexts texts({"221 0 365", "18446744073709551615 -1 +7", "  958 -0 18446744073709551616 6653",
                  "-18446744073709551615 -18446744073709551614"},
                 kNumberAlphabet);
  for (int i = 0; i < kNumberTexts; ++i) {
    const std::string text = texts.next();
    uint64_t a = 1, b = 2, c = 3;
    Scanner scan(text);
    const int count = !scan.unsignedNumber(a)   ? 0
                      : !scan.unsignedNumber(b) ? 1
                      : !scan.unsignedNumber(c) ? 2
                                                : 3;
    uint64_t x = 1, y = 2, z = 3;
    int end = -1;
    const int expected = std::max(sscanf(text.c_str(), "%lu%lu%lu%n", &x, &y, &z, &end), 0);
    ASSERT_TRUE(count == expected && a == x && b == y && c == z &&
                (count < 3 || text.substr(static_cast<size_t>(end)) == scan.rest()))
        << testing::PrintToString(text);
  }
}

TEST(Scanner, readsShortsAsSscanfDoes) {
  OddTexts texts({"179:2", "65535:65536", "-1:+65537 18446744073709551616:0", "8 : 1"},
                 "0123456789 +-:\t\nx");
  for (int i = 0; i < kNumberTexts; ++i) {
    const std::string text = texts.next();
    uint16_t a = 1, b = 2, c = 3;
    Scanner scan(text);
    int count = 0;
    if (scan.unsignedShort(a)) {
      count = 1;
      if (scan.literal(':') && scan.unsignedShort(b)) {
        count = scan.unsignedShort(c) ? 3 : 2;
      }
    }
    uint16_t x = 1, y = 2, z = 3;
    int end = -1;
    const int expected = std::max(sscanf(text.c_str(), "%hu:%hu%hu%n", &x, &y, &z, &end), 0);
    ASSERT_TRUE(count == expected && a == x && b == y && c == z &&
                (count < 3 || text.substr(static_cast<size_t>(end)) == scan.rest()))
        << testing::PrintToString(text);
  }
}

TEST(Scanner, readsHexNumbersAsSscanfDoes) {
  OddTexts texts({"c fffffece3ae04f80 0x44c8f", "0X1F -0xffffffffffffffff +b300002",
                  "ffffffffffffffff 10000000000000000 0x0", "0x 0xx 00x1"},
                 "0123456789abcdefABCDEFxXgG +-\t\n");
  for (int i = 0; i < kNumberTexts; ++i) {
    const std::string text = texts.next();
    uint64_t a = 1, b = 2, c = 3;
    Scanner scan(text);
    const int count = !scan.hexNumber(a) ? 0 : !scan.hexNumber(b) ? 1 : !scan.hexNumber(c) ? 2 : 3;
    uint64_t x = 1, y = 2, z = 3;
    int end = -1;
    const int expected = std::max(sscanf(text.c_str(), "%lx%lx%lx%n", &x, &y, &z, &end), 0);
    ASSERT_TRUE(count == expected && a == x && b == y && c == z &&
                (count < 3 || text.substr(static_cast<size_t>(end)) == scan.rest()))
        << testing::PrintToString(text);
  }
}

// Equal to the last bit, zeros with their signs; any two values that are no number are alike.
bool sameReal(double a, double b) {
  return std::isnan(a) ? std::isnan(b) : a == b && std::signbit(a) == std::signbit(b);
}

TEST(Scanner, readsRealsAsSscanfDoes) {
  OddTexts texts({"35.993650: 0.000001 7:", "999999999.999999 1234567890.123456 123456789012345:",
                  "1e5 -2.5 .25 5. 0x1.8p3", "inf -nan infinity 1e400 1e-400", "1.5.25 1,5",
                  "0.30000000000000004 00000000000000000000.1 0.000000000000001"},
                 "0123456789012345678901234567890123456789........:: +-\teExpinfaty");
  for (int i = 0; i < kNumberTexts; ++i) {
    const std::string text = texts.next();
    double a = 1, b = 2, c = 3;
    Scanner scan(text);
    const int count = !scan.real(a) ? 0 : !scan.real(b) ? 1 : !scan.real(c) ? 2 : 3;
    double x = 1, y = 2, z = 3;
    int end = -1;
    const int expected = std::max(sscanf(text.c_str(), "%lf%lf%lf%n", &x, &y, &z, &end), 0);
    ASSERT_TRUE(count == expected && sameReal(a, x) && sameReal(b, y) && sameReal(c, z) &&
                (count < 3 || text.substr(static_cast<size_t>(end)) == scan.rest()))
        << testing::PrintToString(text);
  }
}

}  // namespace
}  // namespace tarnwick
