#include <gtest/gtest.h>

#include <string>

#include "collector/stats_collector.h"
#include "tests/unit/collector/captured_output.h"

namespace tarnwick {
namespace {

class LogOutput : public testing::Test {
 protected:
  LogOutput() { clearLog(); }

  StatsCollector collector_;
};

TEST_F(LogOutput, isFormatted) {
  collector_.output("%s=%-4d|\n", "total", 7);
  EXPECT_EQ(logText(), "total=7   |\n");
}

TEST_F(LogOutput, hasThePriorityOfAnError) {
  collector_.output("line\n");
  EXPECT_EQ(logRecords().at(0).priority, 6);
}

TEST_F(LogOutput, hasTheProgramsTag) {
  collector_.output("line\n");
  EXPECT_EQ(logRecords().at(0).tag, "Tarnwick");
}

TEST_F(LogOutput, ofOneCallIsOneRecordWhateverItsLines) {
  collector_.output("one\ntwo\nthree\n");
  EXPECT_EQ(logRecords().size(), 1U);
}

TEST_F(LogOutput, ofTwoCallsIsTwoRecordsOnOneLine) {
  collector_.output("one, ");
  collector_.output("two\n");
  EXPECT_EQ(logRecords().size(), 2U);
}

TEST_F(LogOutput, keepsNewlinesAsTheyAre) {
  collector_.output("\none\n\ntwo");
  EXPECT_EQ(logText(), "\none\n\ntwo");
}

TEST_F(LogOutput, of1023CharactersIsWhole) {
  const std::string line(1023, 'x');
  collector_.output("%s", line.c_str());
  EXPECT_EQ(logText(), line);
}

TEST_F(LogOutput, of2000CharactersIsCutTo1023) {
  collector_.output("%s\n", std::string(1999, 'x').c_str());
  EXPECT_EQ(logText(), std::string(1023, 'x'));
}

TEST_F(LogOutput, restOfALongLineIsNoSecondRecord) {
  collector_.output("%s\n", std::string(1999, 'x').c_str());
  EXPECT_EQ(logRecords().size(), 1U);
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-zero-length"
TEST_F(LogOutput, ofAnEmptyFormatIsAnEmptyRecord) {
  collector_.output("");
  EXPECT_EQ(logRecords().at(0).text, "");
}
#pragma GCC diagnostic pop

TEST_F(LogOutput, doesNotReachStandardOutput) {
  EXPECT_EQ(captureStdout([this] { collector_.output("line\n"); }), "");
}

TEST_F(LogOutput, KeepsControlCharacters) {
  collector_.stdoutIsTerminal = true;
  collector_.output("%s\n", "\x1b[2J");
  EXPECT_EQ(logText(), "\x1b[2J\n");
}

class StdoutOutput : public testing::Test {
 protected:
  StdoutOutput() {
    clearLog();
    collector_.useStdout = true;
  }

  StatsCollector collector_;
};

TEST_F(StdoutOutput, isTheFormattedTextAlone) {
  EXPECT_EQ(captureStdout([this] { collector_.output("%s=%-4d|\n", "total", 7); }),
            "total=7   |\n");
}

TEST_F(StdoutOutput, of2000CharactersIsWhole) {
  const std::string line(2000, 'x');
  EXPECT_EQ(captureStdout([&] { collector_.output("%s", line.c_str()); }), line);
}

TEST_F(StdoutOutput, KeepsControlCharacters) {
  EXPECT_EQ(captureStdout([this] { collector_.output("%s\n", "\x1b[2J\r\x7f\xc2\x9b"); }),
            "\x1b[2J\r\x7f\xc2\x9b\n");
}

TEST_F(StdoutOutput, OnATerminalReplacesControlCharacters) {
  collector_.stdoutIsTerminal = true;
  EXPECT_EQ(captureStdout([this] { collector_.output("%s\t%d\n", "\x1b[2J\r\x7f\xc3\xa9", 7); }),
            "?[2J??\xc3\xa9\t7\n");
}

TEST_F(StdoutOutput, OnATerminalIsWhole) {
  collector_.stdoutIsTerminal = true;
  const std::string line(5000, 'x');
  EXPECT_EQ(captureStdout([&] { collector_.output("%s", line.c_str()); }), line);
}

TEST_F(StdoutOutput, OnATerminalReturnsTheLength) {
  collector_.stdoutIsTerminal = true;
  captureStdout([this] { EXPECT_EQ(collector_.output("%s\n", "\xc2\x9b"), 3); });
}

TEST_F(StdoutOutput, doesNotReachTheLog) {
  captureStdout([this] { collector_.output("line\n"); });
  EXPECT_TRUE(logRecords().empty());
}

}  // namespace
}  // namespace tarnwick
