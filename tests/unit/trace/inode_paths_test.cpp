#include "trace/inode_paths.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <string_view>

#include "tests/unit/support/inode_reading.h"

namespace tarnwick {
namespace {

using inode_reading::merge;
using inode_reading::sscanfPathsOf;

void merge(InodePaths& paths, std::string_view text) {
  merge(paths, text, [&text] { return text.size(); });
}

InodePaths pathsOf(std::string_view text) {
  InodePaths paths;
  merge(paths, text);
  return paths;
}

TEST(InodePaths, findsThePathOfAKey) {
  EXPECT_EQ(pathsOf("8:1_9 /nine\n8:1_10 /ten\n").find("8:1_10"), "/ten");
}

TEST(InodePaths, knowsNothingWhenEmpty) {
  EXPECT_FALSE(InodePaths().find("8:1_9"));
  EXPECT_FALSE(pathsOf("").find("8:1_9"));
}

TEST(InodePaths, doesNotFindAKeyThatBeginsAlike) {
  EXPECT_FALSE(pathsOf("8:1_10 /ten\n").find("8:1_1"));
}

TEST(InodePaths, firstPathOfAKeyStays) {
  const InodePaths paths = pathsOf("8:1_9 /first\n8:1_9 /second\n");
  EXPECT_EQ(paths.find("8:1_9"), "/first");
  EXPECT_EQ(paths.size(), 1U);
}

TEST(InodePaths, mergedTextDoesNotReplaceAPath) {
  InodePaths paths = pathsOf("8:1_9 /first\n");
  merge(paths, "8:1_9 /second\n8:1_8 /eight\n");
  EXPECT_EQ(paths.find("8:1_9"), "/first");
  EXPECT_EQ(paths.find("8:1_8"), "/eight");
}

TEST(InodePaths, pathEndsAtABlank) {
  EXPECT_EQ(pathsOf("8:1_9 /with blank\n").find("8:1_9"), "/with");
}

TEST(InodePaths, anyWhiteSpaceIsABlank) {
  EXPECT_EQ(pathsOf(" \t8:1_9\v \f/nine\r\n").find("8:1_9"), "/nine");
}

TEST(InodePaths, lastLineNeedsNoNewline) {
  EXPECT_EQ(pathsOf("8:1_9 /nine\n8:1_10 /ten").find("8:1_10"), "/ten");
}

TEST(InodePaths, lineWithoutAPathIsPassedOver) {
  const InodePaths paths = pathsOf("8:1_9\n8:1_8 \n\n8:1_7 \r\n8:1_6 /six\n");
  EXPECT_EQ(paths.size(), 1U);
  EXPECT_EQ(paths.find("8:1_6"), "/six");
}

TEST(InodePaths, lineEndsAtANul) {
  using std::string_view_literals::operator""sv;
  const InodePaths paths = pathsOf("8:1_9 /ni\0ne\n8:1_8\0 /eight\n\0\n8:1_7 /seven\n"sv);
  EXPECT_EQ(paths.size(), 2U);
  EXPECT_EQ(paths.find("8:1_9"), "/ni");
  EXPECT_EQ(paths.find("8:1_7"), "/seven");
}

TEST(InodePaths, keyEndsAt79Characters) {
  for (const size_t length : {78U, 79U, 80U, 81U, 500U}) {
    const InodePaths paths = pathsOf(std::string(length, 'k') + " /path\n");
    EXPECT_EQ(paths.find(std::string(std::min<size_t>(length, 79), 'k')), "/path") << length;
  }
}

TEST(InodePaths, pathEndsAt511Characters) {
  for (const size_t length : {510U, 511U, 512U, 513U, 100000U}) {
    const InodePaths paths = pathsOf("8:1_9 " + std::string(length, 'p') + "\n8:1_8 /eight\n");
    EXPECT_EQ(paths.find("8:1_9"), std::string(std::min<size_t>(length, 511), 'p')) << length;
    EXPECT_EQ(paths.find("8:1_8"), "/eight") << length;
  }
}

TEST(InodePaths, keysThatAreCutToTheSameAreTheSame) {
  const std::string key(79, 'k');
  const InodePaths paths = pathsOf(key + "1 /first\n" + key + "2 /second\n");
  EXPECT_EQ(paths.size(), 1U);
  EXPECT_EQ(paths.find(key), "/first");
}

TEST(InodePaths, lineIsSeenFor1024Characters) {
  const std::string seen(1024 - 6, ' ');
  EXPECT_EQ(pathsOf("8:1_9" + seen + "/nine\n").find("8:1_9"), "/");
  EXPECT_EQ(pathsOf("8:1_9 " + seen + "/nine\n8:1_8 /eight\n").size(), 1U);
}

TEST(InodePaths, keepsEveryOneOfMany) {
  constexpr int kMany = 50000;
  std::string text;
  for (int i = 0; i < kMany; ++i) {
    text += "8:1_" + std::to_string(i) + " /path/" + std::to_string(i) + "\n";
  }
  const InodePaths paths = pathsOf(text);
  int found = 0;
  for (int i = 0; i < kMany; ++i) {
    found += paths.find("8:1_" + std::to_string(i)) == "/path/" + std::to_string(i) ? 1 : 0;
  }
  EXPECT_EQ(found, kMany);
}

// Lines with keys and paths of all lengths around the limits, few enough keys for duplicates, and
// every kind of blank, end and garbage.
std::string randomText(std::mt19937& random) {
  const auto below = [&random](size_t limit) { return random() % limit; };
  const auto pick = [&](size_t usual, size_t limit) {
    return below(4) != 0 ? 1 + below(usual) : limit - 3 + below(7);
  };
  constexpr std::string_view kBlanks = " \t\r\v\f";
  std::string text;
  for (size_t lines = below(40); lines > 0; --lines) {
    text += std::string(below(3), kBlanks[below(kBlanks.size())]);
    text += std::string(pick(3, 79), static_cast<char>('a' + below(2)));
    text += std::string(below(10) != 0 ? 1 : below(400), kBlanks[below(kBlanks.size())]);
    text += std::string(below(10) != 0 ? pick(60, 511) : 0, static_cast<char>('p' + below(10)));
    if (below(8) == 0) {
      text.push_back(below(2) != 0 ? ' ' : '\0');
      text += std::string(below(100), 'x');
    }
    text += below(10) != 0 ? "\n" : "\r\n\n";
  }
  if (below(2) != 0 && !text.empty()) {
    text.pop_back();
  }
  return text;
}

TEST(InodePaths, mergesTheSameInBlocksOfAnySize) {
  std::mt19937 random(1);
  for (int round = 0; round < 3000; ++round) {
    const std::string text = randomText(random);
    const size_t longest = 1 + random() % (round % 2 == 0 ? 8 : 1000);
    InodePaths paths;
    merge(paths, text, [&] { return 1 + random() % longest; });
    const auto expected = sscanfPathsOf(text);
    ASSERT_EQ(paths.size(), expected.size()) << round;
    for (const auto& [key, path] : expected) {
      ASSERT_EQ(paths.find(key), path) << round;
    }
  }
}

}  // namespace
}  // namespace tarnwick
