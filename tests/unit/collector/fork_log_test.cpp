#include "trace/fork_log.h"

#include <gtest/gtest.h>
#include <linux/perf_event.h>
#include <sched.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <thread>

namespace tarnwick {
namespace {

// The id of a thread that has ended.
int32_t endedThread() {
  int32_t tid = 0;
  std::thread([&tid] { tid = gettid(); }).join();
  return tid;
}

bool perfEventsAreAllowed() {
  perf_event_attr attr{};
  attr.size = sizeof attr;
  attr.type = PERF_TYPE_SOFTWARE;
  attr.config = PERF_COUNT_SW_CPU_CLOCK;
  const auto fd = static_cast<int>(
      syscall(SYS_perf_event_open, &attr, -1, sched_getcpu(), -1, PERF_FLAG_FD_CLOEXEC));
  close(fd);
  return fd >= 0;
}

class ForkLogOfThisMachine : public testing::Test {
 protected:
  void SetUp() override {
    if (!perfEventsAreAllowed()) {
      GTEST_SKIP() << "no perf events of all tasks here";
    }
    EXPECT_TRUE(log_.works());
  }

  ForkLog log_;
};

TEST_F(ForkLogOfThisMachine, KnowsAThreadThatHasEnded) {
  EXPECT_EQ(log_.tgidOf(endedThread()), getpid());
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
  cpu_set_t before;
  ASSERT_EQ(sched_getaffinity(0, sizeof before, &before), 0);
  cpu_set_t one;
  CPU_ZERO(&one);
  CPU_SET(static_cast<size_t>(sched_getcpu()), &one);
  ASSERT_EQ(sched_setaffinity(0, sizeof one, &one), 0);
  // Twice as much as there is room for, and not so that records always end where the room does.
  constexpr long kBatch = 3;
  constexpr long kRecordBytes = 32;
  const long room = 8 * sysconf(_SC_PAGESIZE);
  for (long written = 0; written < 2 * room; written += 2 * kBatch * kRecordBytes) {
    std::array<int32_t, kBatch> tids;
    std::generate(tids.begin(), tids.end(), endedThread);
    log_.update();
    for (const int32_t tid : tids) {
      ASSERT_EQ(log_.tgidOf(tid), getpid());
    }
  }
  sched_setaffinity(0, sizeof before, &before);
}

}  // namespace
}  // namespace tarnwick
