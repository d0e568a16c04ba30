#include "sysstat/scan.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <string>

#include "tests/unit/support/odd_texts.h"

namespace tarnwick {
namespace {

constexpr int kScanTexts = 200000;

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

TEST(Scanner, skipWordFailsWhereThereIsNone) {
  EXPECT_FALSE(Scanner(" \t").skipWord());
}

TEST(Scanner, skipWordPassesOverBlanksAndAWord) {
  Scanner scan(" \n d.h.. 7");
  EXPECT_TRUE(scan.skipWord());
  EXPECT_EQ(scan.rest(), " 7");
}

TEST(Scanner, anyCharacterButABlankIsAWord) {
  EXPECT_TRUE(Scanner("(").skipWord());
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

// The rows of conversions below end with the count of what came through, which sscanf returns: it
// tells a conversion that failed from one that gave the value that was there before.

TEST(Scanner, readsBracketsAsSscanfDoes) {
  OddTexts texts({"(a b) 7", "((x)\n8", "(12) -9"}, "() \n7x(");
  for (int i = 0; i < kScanTexts; ++i) {
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
  for (int i = 0; i < kScanTexts; ++i) {
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
  for (int i = 0; i < kScanTexts; ++i) {
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

}  // namespace
}  // namespace tarnwick
