#include "sysstat/lines.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "tests/unit/support/odd_texts.h"

namespace tarnwick {
namespace {

using Lines = std::vector<std::string>;

Lines linesOf(std::string_view text) {
  Lines lines;
  forEachLine(text, [&lines](std::string_view line) { lines.emplace_back(line); });
  return lines;
}

Lines strtokLinesOf(std::string text) {
  Lines lines;
  for (char* line = strtok(text.data(), "\n"); line != nullptr; line = strtok(nullptr, "\n")) {
    lines.emplace_back(line);
  }
  return lines;
}

TEST(ForEachLine, visitsLinesInOrderWithoutTheirEnds) {
  EXPECT_EQ(linesOf("one\ntwo 2\n"), (Lines{"one", "two 2"}));
}

TEST(ForEachLine, visitsALastLineThatHasNoEnd) {
  EXPECT_EQ(linesOf("one\ntw"), (Lines{"one", "tw"}));
}

TEST(ForEachLine, passesOverEmptyLines) {
  EXPECT_EQ(linesOf("\n\none\n\n\ntwo\n\n"), (Lines{"one", "two"}));
}

TEST(ForEachLine, visitsALineOfBlanks) {
  EXPECT_EQ(linesOf("a\n \nb"), (Lines{"a", " ", "b"}));
}

TEST(ForEachLine, visitsNothingOfAnEmptyText) {
  EXPECT_EQ(linesOf(""), Lines{});
}

TEST(ForEachLine, splitsOddTextsAsStrtokDoes) {
  constexpr int kTexts = 100000;
  OddTexts texts({"300000 1170\n576000 137\n768000 46\n"}, "\n\n\n 7\r\ta");
  for (int i = 0; i < kTexts; ++i) {
    const std::string text = texts.next();
    ASSERT_EQ(linesOf(text), strtokLinesOf(text)) << testing::PrintToString(text);
  }
}

}  // namespace
}  // namespace tarnwick
