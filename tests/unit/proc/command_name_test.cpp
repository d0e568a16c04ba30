#include "proc/command_name.h"

#include <gtest/gtest.h>

namespace tarnwick {
namespace {

using namespace std::string_view_literals;

TEST(CommandName, isTheFileNameOfTheProgram) {
  EXPECT_EQ(commandName("/system/bin/logd\0"sv), "logd");
}

TEST(CommandName, leavesTheArgumentsOut) {
  EXPECT_EQ(commandName("/system/bin/sh\0-c\0/bin/true\0"sv), "sh");
}

TEST(CommandName, isThePackageNameOfAnApplication) {
  EXPECT_EQ(commandName("com.example.app:remote\0"sv), "com.example.app:remote");
}

TEST(CommandName, ofARewrittenCommandLineHasBlanks) {
  EXPECT_EQ(commandName("worker: idle since 3 s"sv), "worker: idle since 3 s");
}

TEST(CommandName, ofARewrittenCommandLineStandsBehindItsLastSlash) {
  EXPECT_EQ(commandName("/usr/sbin/sshd: /dev/pts 0"sv), "pts 0");
}

TEST(CommandName, ofAPathThatEndsInASlashIsEmpty) {
  EXPECT_EQ(commandName("/data/bin/\0-v\0"sv), "");
}

TEST(CommandName, endsAtTheEndOfTheLine) {
  EXPECT_EQ(commandName("/bin/first\n/bin/other"sv), "first");
}

TEST(CommandName, slashesOfTheArgumentsDoNotCount) {
  EXPECT_EQ(commandName("sh\0/system/bin/script\0"sv), "sh");
}

TEST(CommandName, ofAnEmptyCommandLineIsMissing) {
  EXPECT_EQ(commandName(""), std::nullopt);
}

TEST(CommandName, ofAnEmptyFirstLineIsMissing) {
  EXPECT_EQ(commandName("\n/bin/other"), std::nullopt);
}

TEST(CommandName, ofAnEmptyFirstArgumentIsEmpty) {
  EXPECT_EQ(commandName("\0-c\0"sv), "");
}

}  // namespace
}  // namespace tarnwick
