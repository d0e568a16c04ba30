#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <string>

#include "sysstat/scan.h"
#include "tests/unit/support/odd_texts.h"

namespace tarnwick {
namespace {

constexpr int kTexts = 200000;
constexpr uint64_t kMax = std::numeric_limits<uint64_t>::max();

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

TEST(Scanner, unsignedNumberPassesOverEveryKindOfBlank) {
  EXPECT_EQ(unsignedIn(" \t\n\v\f\r42"), 42U);
}

TEST(Scanner, largestUnsignedNumberIsExact) {
  EXPECT_EQ(unsignedIn("18446744073709551615"), kMax);
}

TEST(Scanner, unsignedNumberAboveTheRangeIsTheLargest) {
  EXPECT_EQ(unsignedIn("18446744073709551616"), kMax);
}

TEST(Scanner, unsignedNumberOfManyDigitsStaysTheLargest) {
  EXPECT_EQ(unsignedIn("1000000000000000000000000000000000000000"), kMax);
}

TEST(Scanner, minusNegatesAnUnsignedNumber) {
  EXPECT_EQ(unsignedIn("-2"), kMax - 1);
}

TEST(Scanner, unsignedNumberMayHaveAPlus) {
  EXPECT_EQ(unsignedIn("+2"), 2U);
}

TEST(Scanner, minusDoesNotNegateWhatIsAboveTheRange) {
  EXPECT_EQ(unsignedIn("-18446744073709551616"), kMax);
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
  EXPECT_EQ(hexIn("-0x1"), kMax);
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
  EXPECT_EQ(hexIn("fffffffffffffffe"), kMax - 1);
}

TEST(Scanner, hexNumberAboveTheRangeIsTheLargest) {
  EXPECT_EQ(hexIn("10000000000000000"), kMax);
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

TEST(Scanner, skipWordPassesOverBlanksAndAWord) {
  Scanner scan(" \n d.h.. 7");
  EXPECT_TRUE(scan.skipWord());
  EXPECT_EQ(scan.rest(), " 7");
}

TEST(Scanner, anyCharacterButABlankIsAWord) {
  EXPECT_TRUE(Scanner("(").skipWord());
}

TEST(Scanner, skipWordNeedsAWord) {
  EXPECT_FALSE(Scanner(" \n").skipWord());
}

TEST(Scanner, literalRunIsPassedOver) {
  Scanner scan("pid=7");
  EXPECT_TRUE(scan.literal("pid="));
  EXPECT_EQ(scan.rest(), "7");
}

TEST(Scanner, literalRunMustBeWhole) {
  EXPECT_FALSE(Scanner("pid").literal("pid="));
}

TEST(Scanner, failedLiteralRunTakesNothing) {
  Scanner scan("pid:7");
  EXPECT_FALSE(scan.literal("pid="));
  EXPECT_EQ(scan.rest(), "pid:7");
}

TEST(Scanner, literalRunTakesNoBlanksInFront) {
  EXPECT_FALSE(Scanner(" pid=").literal("pid="));
}

TEST(Scanner, restOfANewScannerIsTheText) {
  EXPECT_EQ(Scanner("a b").rest(), "a b");
}

TEST(Scanner, restAtTheEndIsEmpty) {
  Scanner scan("a");
  scan.literal('a');
  EXPECT_EQ(scan.rest(), "");
}

// The places where the conversions stopped are compared too, where both came through.

constexpr const char* kAlphabet = "0123456789 +-()\t\n\v\f\rxe.,";

TEST(Scanner, readsUnsignedNumbersAsSscanfDoes) {
  OddTexts texts({"221 0 365", "18446744073709551615 -1 +7", "  958 -0 18446744073709551616 6653",
                  "-18446744073709551615 -18446744073709551614"},
                 kAlphabet);
  for (int i = 0; i < kTexts; ++i) {
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
  for (int i = 0; i < kTexts; ++i) {
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
  for (int i = 0; i < kTexts; ++i) {
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
  for (int i = 0; i < kTexts; ++i) {
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
