#include "trace/inode_paths.h"

#include <gtest/gtest.h>

#include <string>

namespace tarnwick {
namespace {

InodePaths pathsOf(const std::string& text) {
  InodePaths paths;
  paths.merge(text);
  return paths;
}

TEST(InodePaths, findsThePathOfAKey) {
  EXPECT_EQ(pathsOf("8:1_9 /nine\n8:1_10 /ten\n").find("8:1_10"), "/ten");
}

TEST(InodePaths, knowsNothingWhenEmpty) {
  EXPECT_FALSE(InodePaths().find("8:1_9"));
}

TEST(InodePaths, doesNotFindAKeyThatBeginsAlike) {
  EXPECT_FALSE(pathsOf("8:1_10 /ten\n").find("8:1_1"));
}

TEST(InodePaths, firstPathOfAKeyStays) {
  EXPECT_EQ(pathsOf("8:1_9 /first\n8:1_9 /second\n").find("8:1_9"), "/first");
}

TEST(InodePaths, mergedTextDoesNotReplaceAPath) {
  InodePaths paths = pathsOf("8:1_9 /first\n");
  paths.merge("8:1_9 /second\n8:1_8 /eight\n");
  EXPECT_EQ(paths.find("8:1_9"), "/first");
  EXPECT_EQ(paths.find("8:1_8"), "/eight");
}

TEST(InodePaths, pathEndsAtABlank) {
  EXPECT_EQ(pathsOf("8:1_9 /with blank\n").find("8:1_9"), "/with");
}

TEST(InodePaths, lineWithoutAPathIsPassedOver) {
  EXPECT_EQ(pathsOf("8:1_9\n8:1_8 \n\n").size(), 0U);
}

TEST(InodePaths, longKeysAndPathsAreCut) {
  const InodePaths paths = pathsOf(std::string(100, 'k') + " /" + std::string(600, 'p') + "\n");
  EXPECT_EQ(paths.find(std::string(79, 'k')), "/" + std::string(510, 'p'));
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

}  // namespace
}  // namespace tarnwick
