#include "sysstat/scan.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <limits>
#include <string>

#include "tests/unit/support/odd_texts.h"

namespace tarnwick {
namespace {

constexpr int kTexts = 200000;
constexpr int64_t kMax = std::numeric_limits<int64_t>::max();
constexpr int64_t kMin = std::numeric_limits<int64_t>::min();

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

TEST(Scanner, characterTakesABlank) {
  char c = 0;
  EXPECT_TRUE(Scanner(" x").character(c));
  EXPECT_EQ(c, ' ');
}

TEST(Scanner, characterAfterTheEndFails) {
  char c = 0;
  EXPECT_FALSE(Scanner("").character(c));
}

TEST(Scanner, spaceNeedsNone) {
  Scanner scan("x");
  scan.space();
  EXPECT_TRUE(scan.literal('x'));
}

TEST(Scanner, failedLiteralTakesNothing) {
  Scanner scan("x");
  EXPECT_FALSE(scan.literal('y'));
  EXPECT_TRUE(scan.literal('x'));
}

TEST(Scanner, untilTakesBlanksAndNewlines) {
  std::string_view name;
  EXPECT_TRUE(Scanner(" a\nb)c").until(')', name));
  EXPECT_EQ(name, " a\nb");
}

TEST(Scanner, untilTakesTheRestWhenItsEndIsMissing) {
  std::string_view name;
  EXPECT_TRUE(Scanner("abc").until(')', name));
  EXPECT_EQ(name, "abc");
}

TEST(Scanner, untilTakesAtLeastOneCharacter) {
  std::string_view name = "as it was";
  EXPECT_FALSE(Scanner(")").until(')', name));
  EXPECT_EQ(name, "as it was");
}

TEST(Scanner, skipNonDigitsStopsAtADigit) {
  Scanner scan(" -+x7");
  char c = 0;
  scan.skipNonDigits();
  scan.character(c);
  EXPECT_EQ(c, '7');
}

TEST(Scanner, skipNonDigitsTakesAtLeastOneCharacter) {
  EXPECT_FALSE(Scanner("7").skipNonDigits());
}

TEST(Scanner, skipNonDigitsTakesTheRestOfATextWithoutDigits) {
  Scanner scan("a:b");
  char c = 0;
  EXPECT_TRUE(scan.skipNonDigits());
  EXPECT_FALSE(scan.character(c));
}

TEST(Scanner, skipNonDigitsFailsAtTheEnd) {
  EXPECT_FALSE(Scanner("").skipNonDigits());
}

TEST(Scanner, wordPassesOverEveryKindOfBlank) {
  std::string_view word;
  EXPECT_TRUE(Scanner(" \t\n\v\f\rpgfault").word(word));
  EXPECT_EQ(word, "pgfault");
}

TEST(Scanner, wordEndsAtEveryKindOfBlank) {
  for (const char blank : std::string(" \t\n\v\f\r")) {
    std::string_view word;
    Scanner(std::string("a-1") + blank + "b").word(word);
    EXPECT_EQ(word.size(), 3U) << static_cast<int>(blank);
  }
}

TEST(Scanner, wordTakesTheRestWhenNoBlankFollows) {
  std::string_view word;
  EXPECT_TRUE(Scanner("pgfau").word(word));
  EXPECT_EQ(word, "pgfau");
}

TEST(Scanner, failedWordLeavesItsOutputAlone) {
  std::string_view word = "as it was";
  EXPECT_FALSE(Scanner(" \t").word(word));
  EXPECT_EQ(word, "as it was");
}

TEST(Scanner, skipWordStopsBehindTheWord) {
  Scanner scan(" pgfault 35");
  int64_t number = 0;
  scan.skipWord();
  scan.number(number);
  EXPECT_EQ(number, 35);
}

TEST(Scanner, skipWordFailsWhereThereIsNone) {
  EXPECT_FALSE(Scanner(" \t").skipWord());
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

// The rows of conversions below end with the count of what came through, which sscanf returns: it
// tells a conversion that failed from one that gave the value that was there before.

constexpr const char* kAlphabet = "0123456789 +-()\t\n\v\f\rxe.,";

TEST(Scanner, readsNumbersAsSscanfDoes) {
  OddTexts texts({"221 0 365", "18446744073709551615 -1 +7", "  958 0 1271 6653"}, kAlphabet);
  for (int i = 0; i < kTexts; ++i) {
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
  OddTexts texts({"190 S 159 0", "4294967297\tR -2147483649", "7 x+8"}, kAlphabet);
  for (int i = 0; i < kTexts; ++i) {
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

TEST(Scanner, readsBracketsAsSscanfDoes) {
  OddTexts texts({"(a b) 7", "((x)\n8", "(12) -9"}, "() \n7x(");
  for (int i = 0; i < kTexts; ++i) {
    const std::string text = texts.next();
    std::string_view name;
    int64_t number = -1;
    Scanner scan(text);
    scan.space();
    int count = 0;
    if (scan.literal('(') && scan.until(')', name)) {
      count = scan.literal(')') && scan.number(number) ? 2 : 1;
    }
    char expectedName[4096] = "";
    int64_t expectedNumber = -1;
    const int expected =
        std::max(sscanf(text.c_str(), " (%4095[^)])%ld", expectedName, &expectedNumber), 0);
    ASSERT_TRUE(count == expected && name == expectedName && number == expectedNumber)
        << testing::PrintToString(text);
  }
}

TEST(Scanner, readsWordsAsSscanfDoes) {
  OddTexts texts({"nr_free_pages 106667", " pgfault\t3520 x", "a\xc3\xa9 -1 b"},
                 "0123456789 +-\t\n\v\f\rx_\xa0\xff");
  for (int i = 0; i < kTexts; ++i) {
    const std::string text = texts.next();
    std::string_view first, second;
    int64_t number = -1;
    Scanner scan(text);
    const int count = !scan.word(first) ? 0 : !scan.number(number) ? 1 : !scan.word(second) ? 2 : 3;
    char expectedFirst[4096] = "", expectedSecond[4096] = "";
    int64_t expectedNumber = -1;
    const int expected = std::max(
        sscanf(text.c_str(), "%4095s %ld %4095s", expectedFirst, &expectedNumber, expectedSecond),
        0);
    ASSERT_TRUE(count == expected && first == expectedFirst && number == expectedNumber &&
                second == expectedSecond)
        << testing::PrintToString(text);
  }
}

TEST(Scanner, skipsNonDigitsAsSscanfDoes) {
  OddTexts texts({":     504       6    0", " -7+8 9", ":5 6"}, "0123456789 :+-.\t\n\xb2");
  for (int i = 0; i < kTexts; ++i) {
    const std::string text = texts.next();
    int64_t a = -1, b = -2;
    Scanner scan(text);
    const int count = !scan.skipNonDigits() || !scan.number(a)   ? 0
                      : !scan.skipNonDigits() || !scan.number(b) ? 1
                                                                 : 2;
    int64_t x = -1, y = -2;
    const int expected = std::max(sscanf(text.c_str(), "%*[^0-9]%ld%*[^0-9]%ld", &x, &y), 0);
    ASSERT_TRUE(count == expected && a == x && b == y) << testing::PrintToString(text);
  }
}

TEST(Scanner, skipsNumbersAsSscanfDoes) {
  OddTexts texts({"0 0 0 -1 4194304", "20 0 1 0 1789 864256", "1 2 3 4"}, kAlphabet);
  for (int i = 0; i < kTexts; ++i) {
    const std::string text = texts.next();
    int64_t number = -1;
    Scanner scan(text);
    const int count = scan.skipNumbers(3) && scan.number(number) ? 1 : 0;
    int64_t expectedNumber = -1;
    const int expected = std::max(sscanf(text.c_str(), "%*d %*d %*d %ld", &expectedNumber), 0);
    ASSERT_TRUE(count == expected && number == expectedNumber) << testing::PrintToString(text);
  }
}

}  // namespace
}  // namespace tarnwick
