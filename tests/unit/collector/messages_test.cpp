#include "collector/messages.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <string>
#include <thread>

#include "collector/end_process.h"
#include "collector/stats_collector.h"
#include "tests/unit/collector/captured_output.h"

namespace tarnwick {
namespace {

TEST(Messages, NoneIsNoText) {
  EXPECT_EQ(captureStdout([] { printMessages(); }), "");
}

TEST(Messages, PostedTwiceArePrintedOnceInTheirOrder) {
  EXPECT_EQ(captureStdout([] {
              postMessage("first");
              postMessage("second");
              printMessages();
              printMessages();
            }),
            "first\nsecond\n");
}

TEST(Messages, ComeBeforeTheReportsNextText) {
  EXPECT_EQ(captureStdout([] {
              StatsCollector collector;
              collector.useStdout = true;
              postMessage("message");
              collector.output("report\n");
            }),
            "message\nreport\n");
}

// The thread is at any point of its printing when the report goes on.
TEST(Messages, ComeBeforeTheReportsNextTextWhileTheThreadPrints) {
  constexpr int kRounds = 20000;
  const std::string text = captureStdout([] {
    StatsCollector collector;
    collector.useStdout = true;
    startMessageThread();
    for (int round = 0; round < kRounds; ++round) {
      postMessage("m");
      for (std::atomic<int> i = 0; i < round % 500; ++i) {
      }
      collector.output("r\n");
    }
    stopMessageThread();
  });
  ASSERT_EQ(text.size(), size_t{4} * kRounds);
  for (size_t at = 0; at < text.size(); at += 4) {
    ASSERT_EQ(text.substr(at, 4), "m\nr\n") << at;
  }
}

TEST(Messages, EndOfTheThreadPrintsAll) {
  EXPECT_EQ(captureStdout([] {
              for (int i = 0; i < 3; ++i) {
                startMessageThread();
                postMessage("a");
                postMessage("b");
                stopMessageThread();
              }
            }),
            "a\nb\na\nb\na\nb\n");
}

TEST(Messages, AreWholeAndInOrderFromEachThread) {
  constexpr int kMessages = 1000;
  const std::string text = captureStdout([] {
    startMessageThread();
    std::thread other([] {
      for (int i = 0; i < kMessages; ++i) {
        postMessage("other " + std::to_string(i));
      }
    });
    StatsCollector collector;
    collector.useStdout = true;
    for (int i = 0; i < kMessages; ++i) {
      postMessage("own " + std::to_string(i));
      collector.output("%s", "");
    }
    other.join();
    stopMessageThread();
  });
  int own = 0;
  int other = 0;
  size_t begin = 0;
  for (size_t end = 0; (end = text.find('\n', begin)) != std::string::npos; begin = end + 1) {
    const std::string line = text.substr(begin, end - begin);
    if (line == "own " + std::to_string(own)) {
      ++own;
    } else {
      ASSERT_EQ(line, "other " + std::to_string(other++));
    }
  }
  EXPECT_EQ(own, kMessages);
  EXPECT_EQ(other, kMessages);
}

TEST(Messages, EndOfTheProcessPrintsThem) {
  EXPECT_EXIT(
      {
        // A death test sees standard error alone.
        dup2(STDERR_FILENO, STDOUT_FILENO);
        postMessage("last words");
        endProcess(1);
      },
      testing::ExitedWithCode(1), "last words\n$");
}

// A post that waits would wait for good: nobody reads before it returns.
TEST(Messages, PostDoesNotWaitForAPipeThatIsFull) {
  fflush(stdout);
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0);
  size_t filled = 0;
  while (write(ends[1], "x", 1) == 1) {
    ++filled;
  }
  ASSERT_EQ(fcntl(ends[1], F_SETFL, 0), 0);
  const int before = dup(STDOUT_FILENO);
  dup2(ends[1], STDOUT_FILENO);
  setvbuf(stdout, nullptr, _IOLBF, 0);
  startMessageThread();
  std::string expected;
  for (int i = 0; i < 100; ++i) {
    postMessage("message " + std::to_string(i));
    expected += "message " + std::to_string(i) + '\n';
  }
  ASSERT_EQ(fcntl(ends[0], F_SETFL, 0), 0);
  std::string text(filled + expected.size(), ' ');
  for (size_t got = 0; got < text.size();) {
    const ssize_t more = read(ends[0], text.data() + got, text.size() - got);
    ASSERT_GT(more, 0);
    got += static_cast<size_t>(more);
  }
  stopMessageThread();
  fflush(stdout);
  dup2(before, STDOUT_FILENO);
  close(before);
  close(ends[0]);
  close(ends[1]);
  EXPECT_EQ(text.substr(filled), expected);
}

}  // namespace
}  // namespace tarnwick
