#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <string>

#include "collector/stats_collector.h"
#include "tests/unit/collector/captured_output.h"
#include "tests/unit/collector/temporary_file.h"

namespace tarnwick {
namespace {

constexpr const char* kMissing = "/proc/tarnwick/no-such-file";

using Buffer = std::array<char, 8>;

Buffer garbage() {
  Buffer buffer;
  buffer.fill('#');
  return buffer;
}

class ReadKernelFile : public testing::Test {
 protected:
  ReadKernelFile() { clearLog(); }

  int64_t read(const char* path) {
    return collector_.readKernelFile(path, buffer_.data(), static_cast<int32_t>(buffer_.size()));
  }

  StatsCollector collector_;
  Buffer buffer_ = garbage();
};

TEST_F(ReadKernelFile, givesTheLengthOfAShortFile) {
  EXPECT_EQ(read(TemporaryFile("12345").path()), 5);
}

TEST_F(ReadKernelFile, zeroesWhatAShortFileLeaves) {
  read(TemporaryFile("12345").path());
  EXPECT_EQ(buffer_, (Buffer{'1', '2', '3', '4', '5'}));
}

TEST_F(ReadKernelFile, fillsTheBufferWithoutTerminator) {
  read(TemporaryFile("12345678").path());
  EXPECT_EQ(buffer_, (Buffer{'1', '2', '3', '4', '5', '6', '7', '8'}));
}

TEST_F(ReadKernelFile, givesTheCapacityForAFullBuffer) {
  EXPECT_EQ(read(TemporaryFile("12345678").path()), 8);
}

TEST_F(ReadKernelFile, givesTheCapacityForALongerFile) {
  EXPECT_EQ(read(TemporaryFile("1234567890").path()), 8);
}

TEST_F(ReadKernelFile, seesTheHeadOfALongerFile) {
  read(TemporaryFile("1234567890").path());
  EXPECT_EQ(buffer_, (Buffer{'1', '2', '3', '4', '5', '6', '7', '8'}));
}

TEST_F(ReadKernelFile, staysWithinItsSize) {
  const TemporaryFile file("1234567890");
  collector_.readKernelFile(file.path(), buffer_.data(), 3);
  EXPECT_EQ(buffer_, (Buffer{'1', '2', '3', '#', '#', '#', '#', '#'}));
}

TEST_F(ReadKernelFile, givesZeroForAnEmptyFile) {
  EXPECT_EQ(read(TemporaryFile("").path()), 0);
}

TEST_F(ReadKernelFile, givesZeroForAMissingFile) {
  EXPECT_EQ(read(kMissing), 0);
}

TEST_F(ReadKernelFile, zeroesTheBufferForAMissingFile) {
  read(kMissing);
  EXPECT_EQ(buffer_, Buffer{});
}

TEST_F(ReadKernelFile, isSilentAboutAMissingFile) {
  read(kMissing);
  EXPECT_TRUE(logRecords().empty());
}

TEST_F(ReadKernelFile, givesMinusOneForADirectory) {
  EXPECT_EQ(read("/proc"), -1);
}

TEST_F(ReadKernelFile, zeroesTheBufferForADirectory) {
  read("/proc");
  EXPECT_EQ(buffer_, Buffer{});
}

TEST_F(ReadKernelFile, complainsOfADirectoryAsOfAFailedOpen) {
  read("/proc");
  EXPECT_EQ(logText(), "Error opening /proc: Is a directory (21)\n");
}

TEST_F(ReadKernelFile, complainsInOneRecord) {
  read("/proc");
  EXPECT_EQ(logRecords().size(), 1U);
}

TEST_F(ReadKernelFile, complainsOnStandardOutputWhenThatIsTheDestination) {
  collector_.useStdout = true;
  EXPECT_EQ(captureStdout([this] { read("/proc"); }), "Error opening /proc: Is a directory (21)\n");
}

size_t openDescriptors() {
  const std::filesystem::directory_iterator entries("/proc/self/fd");
  return static_cast<size_t>(std::distance(begin(entries), end(entries)));
}

TEST_F(ReadKernelFile, leavesNoDescriptorOpen) {
  const size_t before = openDescriptors();
  read("/proc/version");
  EXPECT_EQ(openDescriptors(), before);
}

TEST_F(ReadKernelFile, leavesNoDescriptorOpenAfterAFailedRead) {
  const size_t before = openDescriptors();
  read("/proc");
  EXPECT_EQ(openDescriptors(), before);
}

class WriteKernelFile : public testing::Test {
 protected:
  WriteKernelFile() { clearLog(); }

  StatsCollector collector_;
};

TEST_F(WriteKernelFile, writesTheTextAlone) {
  const TemporaryFile file("");
  collector_.writeKernelFile(file.path(), "-1");
  EXPECT_EQ(file.text(), "-1");
}

TEST_F(WriteKernelFile, doesNotTruncate) {
  const TemporaryFile file("before");
  collector_.writeKernelFile(file.path(), "-1");
  EXPECT_EQ(file.text(), "-1fore");
}

TEST_F(WriteKernelFile, takesAnEmptyText) {
  const TemporaryFile file("before");
  collector_.writeKernelFile(file.path(), "");
  EXPECT_EQ(file.text(), "before");
}

TEST_F(WriteKernelFile, isSilentWhenItSucceeds) {
  const TemporaryFile file("");
  collector_.writeKernelFile(file.path(), "-1");
  EXPECT_TRUE(logRecords().empty());
}

TEST_F(WriteKernelFile, leavesNoDescriptorOpen) {
  const TemporaryFile file("");
  const size_t before = openDescriptors();
  collector_.writeKernelFile(file.path(), "-1");
  EXPECT_EQ(openDescriptors(), before);
}

class WriteKernelFileDeathTest : public testing::Test {
 protected:
  // The text that a death test compares is that of standard error.
  void writeWithMessagesOnStderr(const char* path, const char* text) {
    dup2(STDERR_FILENO, STDOUT_FILENO);
    collector_.useStdout = true;
    collector_.writeKernelFile(path, text);
  }

  // A file that takes no more than three bytes.
  void writeUpToThreeBytes(const char* path, const char* text) {
    signal(SIGXFSZ, SIG_IGN);
    const rlimit three = {3, 3};
    setrlimit(RLIMIT_FSIZE, &three);
    collector_.writeKernelFile(path, text);
  }

  StatsCollector collector_;
};

TEST_F(WriteKernelFileDeathTest, missingFileEndsTheProcess) {
  EXPECT_EXIT(writeWithMessagesOnStderr(kMissing, "1"), testing::ExitedWithCode(1),
              "^Error opening /proc/tarnwick/no-such-file: No such file or directory \\(2\\)\n$");
}

TEST_F(WriteKernelFileDeathTest, missingFileIsNotCreated) {
  const std::string path = testing::TempDir() + "tarnwick-never-made";
  std::filesystem::remove(path);
  EXPECT_EXIT(collector_.writeKernelFile(path.c_str(), "1"), testing::ExitedWithCode(1), "");
  EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(WriteKernelFileDeathTest, failedWriteEndsTheProcess) {
  EXPECT_EXIT(writeWithMessagesOnStderr("/dev/full", "1"), testing::ExitedWithCode(1),
              "^Error writing to /dev/full: No space left on device \\(28\\)\n$");
}

TEST_F(WriteKernelFileDeathTest, shortWriteEndsTheProcess) {
  const TemporaryFile file("");
  EXPECT_EXIT(writeUpToThreeBytes(file.path(), "12345"), testing::ExitedWithCode(1), "");
}

TEST_F(WriteKernelFileDeathTest, exitHandlersRun) {
  EXPECT_EXIT(
      {
        atexit([] { fputs("goodbye", stderr); });
        collector_.writeKernelFile(kMissing, "1");
      },
      testing::ExitedWithCode(1), "goodbye");
}

}  // namespace
}  // namespace tarnwick
