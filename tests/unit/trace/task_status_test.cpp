#include "trace/task_status.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "tests/unit/support/odd_texts.h"
#include "tests/unit/support/task_status_reading.h"

namespace tarnwick {
namespace {

using task_status_reading::sscanfTgidOf;

TEST(Tgid, isTheNumberOfItsLine) {
  EXPECT_EQ(parseTgid("Tgid:\t1312\n"), 1312);
}

TEST(Tgid, otherLinesHaveNone) {
  for (const char* line :
       {"Name:\tTgid:\n", "Ngid:\t0\n", "Pid:\t7\n", " Tgid:\t7\n", "Tgid", ""}) {
    EXPECT_EQ(parseTgid(line), std::nullopt) << line;
  }
}

TEST(Tgid, isThatOfTheFirstLineThatHasOne) {
  EXPECT_EQ(parseTgidOfStatus("Name:\tcat\nUmask:\t0022\nTgid:\t7\nTgid:\t8\n"), 7);
  EXPECT_EQ(parseTgidOfStatus("Name:\tTgid:\nTgid:\t7"), 7);
  EXPECT_EQ(parseTgidOfStatus("Name:\tcat\n"), std::nullopt);
  EXPECT_EQ(parseTgidOfStatus(""), std::nullopt);
  // A line is cut at 79 characters.
  EXPECT_EQ(parseTgidOfStatus(std::string(79, 'x') + "Tgid:\t7\n"), 7);
  EXPECT_EQ(parseTgidOfStatus(std::string(78, 'x') + "Tgid:\t7\n"), std::nullopt);
}

TEST(Tgid, anyBlanksMayStandBeforeTheNumber) {
  EXPECT_EQ(parseTgid("Tgid: \t\v 7\n"), 7);
  EXPECT_EQ(parseTgid("Tgid:7\n"), 7);
}

TEST(Tgid, missingNumberIsMinusOne) {
  for (const char* line : {"Tgid:", "Tgid:\t\n", "Tgid:\tx\n", "Tgid:\t-\n"}) {
    EXPECT_EQ(parseTgid(line), -1) << line;
  }
}

TEST(Tgid, beyond32BitsKeepsItsLowHalf) {
  EXPECT_EQ(parseTgid("Tgid:\t4294967303\n"), 7);
}

TEST(Tgid, oddLinesReadAsSscanfReadsThem) {
  constexpr int kLines = 200000;
  OddTexts lines({"Tgid:\t1312\n", "Tgid:\t1\n", "Name:\tTgid:\n", "TracerPid:\t0\n"},
                 "0123456789 +-()\t\n\v\f\rxeTgid:");
  for (int i = 0; i < kLines; ++i) {
    const std::string line = (i % 2 == 0 ? "Tgid:" : "") + lines.next();
    ASSERT_EQ(parseTgid(line), sscanfTgidOf(line)) << testing::PrintToString(line);
  }
}

TEST(Comm, endsBeforeItsNewline) {
  EXPECT_EQ(parseComm("disk.writer\n"), "disk.writer");
}

TEST(Comm, losesItsLastNewlineAlone) {
  EXPECT_EQ(parseComm("a\nb\n\n"), "a\nb\n");
}

TEST(Comm, losesItsLastCharacterWhateverItIs) {
  EXPECT_EQ(parseComm("cut"), "cu");
}

TEST(Comm, ofANewlineIsEmpty) {
  EXPECT_EQ(parseComm("\n"), "");
}

TEST(Comm, ofNothingIsEmpty) {
  EXPECT_EQ(parseComm(""), "");
}

}  // namespace
}  // namespace tarnwick
