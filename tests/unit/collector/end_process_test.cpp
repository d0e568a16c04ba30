#include "collector/end_process.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <semaphore>
#include <thread>

namespace tarnwick {
namespace {

// While another thread prints line after line.
[[noreturn]] void endAmongLines() {
  // A death test sees standard error alone.
  dup2(STDERR_FILENO, STDOUT_FILENO);
  static std::binary_semaphore begun{0};
  std::thread([] {
    puts("line");
    begun.release();
    for (;;) {
      puts("line");
    }
  }).detach();
  begun.acquire();
  endProcess(1);
}

TEST(EndProcess, leavesNoHalfLineOfAnotherThread) {
  for (int i = 0; i < 50; ++i) {
    EXPECT_EXIT(endAmongLines(), testing::ExitedWithCode(1), "line\n$");
  }
}

}  // namespace
}  // namespace tarnwick
