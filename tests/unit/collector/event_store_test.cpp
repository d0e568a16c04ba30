#include "trace/event_store.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "trace/drain_pace.h"
#include "trace/trace_state.h"

namespace tarnwick {
namespace {

TEST(EventStore, ThreadThatCannotBeLookedUpLetsTheReaderRest) {
  // Beyond the kernel's PID_MAX_LIMIT.
  constexpr SchedEvent kEvent = {SchedEventKind::kRuntime, 1.0, 5, 0, 0x40000000, "away"};
  DrainPace pace;
  EventStore store(pace);
  DrainPace::Rest rest{};
  for (uint32_t drain = 0; drain < 10 * DrainPace::kShortDrains; ++drain) {
    pace.startDrain();
    store.take(kEvent);
    store.endBlock();
    rest = pace.rest();
  }
  EXPECT_EQ(rest, DrainPace::kLongRest);
  EXPECT_EQ(gTraceLosses.unresolved, 10 * DrainPace::kShortDrains);
  gTraceLosses = {};
}

// A process that ends when it is told to.
class Child {
 public:
  Child() : pid_(fork()) {
    if (pid_ == 0) {
      for (;;) {
        pause();
      }
    }
  }

  pid_t pid() const { return pid_; }

  void end() const {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }

 private:
  pid_t pid_;
};

// What becomes of an event of an ended process.
class EventOfEndedProcess : public testing::Test {
 protected:
  bool makesRecord(int32_t tid) {
    pace_.startDrain();
    EventStore::HeldEvent held;
    return store_.hold({SchedEventKind::kRuntime, 1.0, 5, 0, tid, "shortlived"}, 0, held);
  }

  void TearDown() override {
    gTidToTgid.clear();
    gTgidNames.clear();
    gTidNames.clear();
    gTraceNames.clear();
    gTraceLosses = {};
  }

  DrainPace pace_;
  EventStore store_{pace_};
};

TEST_F(EventOfEndedProcess, NamesItWhenItsThreadWasLookedUp) {
  const Child child;
  store_.lookUpNewThreads({child.pid(), child.pid()});
  child.end();
  EXPECT_TRUE(makesRecord(child.pid()));
  EXPECT_EQ(gTgidNames[child.pid()], "shortlived");
}

TEST_F(EventOfEndedProcess, IsLostWhenItsThreadWasNotLookedUp) {
  const Child child;
  store_.lookUpNewThreads({1, 0});
  child.end();
  EXPECT_FALSE(makesRecord(child.pid()));
  EXPECT_EQ(gTraceLosses.unresolved, 1U);
}

TEST_F(EventOfEndedProcess, DoesNotNameItWhenItIsOfAnotherThread) {
  const Child child;
  store_.lookUpNewThreads({child.pid(), child.pid()});
  child.end();
  constexpr int32_t kOtherThread = 0x40000000;
  gTidToTgid[kOtherThread] = child.pid();
  EXPECT_FALSE(makesRecord(kOtherThread));
}

TEST_F(EventOfEndedProcess, DoesNotNameItInATraceReadAsText) {
  const Child child;
  gTidToTgid[child.pid()] = child.pid();
  child.end();
  EXPECT_FALSE(makesRecord(child.pid()));
}

TEST_F(EventOfEndedProcess, NewThreadMakesTheRestShort) {
  const Child child;
  for (uint32_t drain = 0; drain < 10 * DrainPace::kShortDrains; ++drain) {
    pace_.startDrain();
    pace_.rest();
  }
  pace_.startDrain();
  store_.lookUpNewThreads({child.pid(), child.pid()});
  EXPECT_EQ(pace_.rest(), DrainPace::kShortRest);
  child.end();
}

}  // namespace
}  // namespace tarnwick
