#include "trace/fork_log.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <thread>
#include <vector>

namespace tarnwick {
namespace {

// The id of a thread that has ended.
int32_t endedThread() {
  int32_t tid = 0;
  std::thread([&tid] { tid = gettid(); }).join();
  return tid;
}

class ForkLogOfThisMachine : public testing::Test {
 protected:
  void SetUp() override {
    if (log_.tgidOf(endedThread()) < 0) {
      GTEST_SKIP() << "no perf events of all tasks here";
    }
  }

  ForkLog log_;
};

TEST_F(ForkLogOfThisMachine, KnowsAThreadThatHasEnded) {
  EXPECT_EQ(log_.tgidOf(endedThread()), getpid());
  EXPECT_TRUE(log_.works());
}

TEST_F(ForkLogOfThisMachine, KnowsAProcessThatHasEnded) {
  const pid_t child = fork();
  if (child == 0) {
    _exit(0);
  }
  waitpid(child, nullptr, 0);
  EXPECT_EQ(log_.tgidOf(child), child);
}

TEST_F(ForkLogOfThisMachine, DoesNotKnowWhatWasMadeBefore) {
  EXPECT_EQ(log_.tgidOf(getpid()), -1);
}

TEST_F(ForkLogOfThisMachine, RoomOfTheRecordsIsUsedAgain) {
  constexpr int kThreads = 3000;  // more than there is room for on each CPU
  constexpr int kBatch = 100;
  std::vector<int32_t> tids;
  for (int i = 0; i < kThreads; ++i) {
    tids.push_back(endedThread());
    if (tids.size() % kBatch == 0) {
      log_.update();
    }
  }
  for (const int32_t tid : tids) {
    EXPECT_EQ(log_.tgidOf(tid), getpid());
  }
}

}  // namespace
}  // namespace tarnwick
