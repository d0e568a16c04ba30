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
  constexpr uint32_t kDrains = 100;
  constexpr SchedEvent kEvent = {SchedEventKind::kRuntime, 1.0, 5, 0, 0x40000000, "away"};
  DrainPace pace;
  EventStore store(pace);
  DrainPace::Rest rest{};
  for (uint32_t drain = 0; drain < kDrains; ++drain) {
    pace.startDrain();
    store.take(kEvent);
    store.endBlock();
    rest = pace.rest();
  }
  EXPECT_EQ(rest, DrainPace::kLongRest);
  EXPECT_EQ(gTraceLosses.unresolved, kDrains);
  gTraceLosses = {};
}

TEST(EventStore, ThreadThatWasNotSeenBeforeMakesTheRestShort) {
  const SchedEvent event = {SchedEventKind::kRuntime, 1.0, 5, 0, getpid(), "new"};
  DrainPace pace;
  EventStore store(pace);
  DrainPace::Rest rest{};
  for (uint32_t drain = 0; drain < 100; ++drain) {
    pace.startDrain();
    rest = pace.rest();
  }
  EXPECT_EQ(rest, DrainPace::kLongRest);
  store.take(event);
  EXPECT_EQ(pace.rest(), DrainPace::kShortRest);
  gTidToTgid.clear();
  gTgidNames.clear();
  gTidNames.clear();
  gTraceNames.clear();
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
  bool makesRecord(int32_t tid, std::string_view name = "shortlived") {
    pace_.startDrain();
    EventStore::HeldEvent held;
    if (!store_.hold({SchedEventKind::kRuntime, 1.0, 5, 0, tid, name}, 0, held)) {
      return false;
    }
    *held.threadName = held.record.name;
    return true;
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
  ForkLog forks_;
};

TEST_F(EventOfEndedProcess, MakesARecordByItsForkRecord) {
  const Child child;
  child.end();
  if (!forks_.works()) {
    GTEST_SKIP() << "no perf events of all tasks here";
  }
  store_.useForks(forks_);
  EXPECT_TRUE(makesRecord(child.pid()));
  EXPECT_EQ(gTidToTgid[child.pid()], child.pid());
}

TEST_F(EventOfEndedProcess, NamesItAfterTheLastNameOfItsFirstThread) {
  const Child child;
  gTidToTgid[child.pid()] = child.pid();
  child.end();
  store_.useForks(forks_);
  constexpr int32_t kOtherThread = 0x40000000;
  gTidToTgid[kOtherThread] = child.pid();
  EXPECT_TRUE(makesRecord(child.pid(), "sh"));
  EXPECT_TRUE(makesRecord(child.pid(), "shortlived"));
  EXPECT_TRUE(makesRecord(kOtherThread, "worker"));
  EXPECT_TRUE(gTgidNames.empty());
  store_.nameEndedProcesses();
  EXPECT_EQ(gTgidNames[child.pid()], "shortlived");
  EXPECT_EQ(gTgidNames.size(), 1U);
}

TEST_F(EventOfEndedProcess, KeepsAnEmptyName) {
  const Child child;
  gTidToTgid[child.pid()] = child.pid();
  gTgidNames[child.pid()] = "";
  child.end();
  store_.useForks(forks_);
  EXPECT_FALSE(makesRecord(child.pid()));
  store_.nameEndedProcesses();
  EXPECT_EQ(gTgidNames[child.pid()], "");
}

TEST_F(EventOfEndedProcess, IsLostWithoutItsForkRecord) {
  const Child child;
  child.end();
  ForkLog later;
  store_.useForks(later);
  EXPECT_FALSE(makesRecord(child.pid()));
  EXPECT_EQ(gTraceLosses.unresolved, 1U);
}

TEST_F(EventOfEndedProcess, IsLostWhenItIsOfAnotherThread) {
  const Child child;
  constexpr int32_t kOtherThread = 0x40000000;
  gTidToTgid[kOtherThread] = child.pid();
  child.end();
  store_.useForks(forks_);
  EXPECT_FALSE(makesRecord(kOtherThread));
}

TEST_F(EventOfEndedProcess, IsLostInATraceReadAsText) {
  const Child child;
  gTidToTgid[child.pid()] = child.pid();
  child.end();
  EXPECT_FALSE(makesRecord(child.pid()));
}

// Events of this process as the ring has them, with names in 16 bytes.
class EventOfTheRing : public EventOfEndedProcess {
 protected:
  static SchedEventFields fieldsOf(std::string_view field) {
    return {field, static_cast<int32_t>(getpid()), 5000};
  }

  // Whether an event with this field can be held without being read. It is read otherwise, as
  // `name`.
  bool isHeldAgain(std::string_view field, std::string_view name) {
    const SchedEventFields fields = fieldsOf(field);
    pace_.startDrain();
    if (store_.holdAgain(fields, SchedEventKind::kWait, 3, 2000000, held_)) {
      return true;
    }
    const SchedEvent event{SchedEventKind::kWait, 0.002, 5000, 3, fields.tid, name};
    EXPECT_TRUE(store_.hold(fields, event, 2000000, held_));
    return false;
  }

  EventStore::HeldEvent held_{};
};

TEST_F(EventOfTheRing, IsHeldAgainAsItWasHeldFirst) {
  const std::string_view field("worker\0\0\0", 9);
  EXPECT_FALSE(isHeldAgain(field, field.substr(0, 6)));
  const EventStore::HeldEvent first = held_;
  held_ = EventStore::HeldEvent();
  EXPECT_TRUE(isHeldAgain(field, field.substr(0, 6)));
  EXPECT_EQ(held_.time, first.time);
  EXPECT_EQ(held_.threadName, first.threadName);
  EXPECT_EQ(held_.record.time, first.record.time);
  EXPECT_EQ(held_.record.duration, first.record.duration);
  EXPECT_EQ(held_.record.kind, first.record.kind);
  EXPECT_EQ(held_.record.cpu, first.record.cpu);
  EXPECT_EQ(held_.record.tid, first.record.tid);
  EXPECT_EQ(held_.record.name, first.record.name);
}

TEST_F(EventOfTheRing, IsReadWhenItsNameIsAnother) {
  const std::string_view field("worker");
  EXPECT_FALSE(isHeldAgain(field, field));
  EXPECT_FALSE(isHeldAgain("works", "works"));
  EXPECT_EQ(gTraceNames.name(held_.record.name), "works");
  EXPECT_FALSE(isHeldAgain("", "blank"));
  EXPECT_FALSE(isHeldAgain("", "blank"));
  EXPECT_EQ(gTraceNames.name(held_.record.name), "blank");
}

TEST_F(EventOfTheRing, IsReadWhenItsNameDoesNotStandInIt) {
  const std::string_view field("a=b");
  EXPECT_FALSE(isHeldAgain(field, "a"));
  EXPECT_FALSE(isHeldAgain(field, "a"));
}

TEST_F(EventOfTheRing, IsReadAfterAnOddName) {
  const std::string_view field("worker");
  EXPECT_FALSE(isHeldAgain(field, field));
  EXPECT_FALSE(isHeldAgain("a=b", "a"));
  EXPECT_FALSE(isHeldAgain(field, field));
  EXPECT_EQ(gTraceNames.name(held_.record.name), "worker");
}

TEST_F(EventOfTheRing, LeavesNoRecordWhenItIsLong) {
  const std::string_view field("worker");
  EXPECT_FALSE(isHeldAgain(field, field));
  SchedEventFields fields = fieldsOf(field);
  for (const uint64_t value : {uint64_t{0}, uint64_t{300000001}, ~uint64_t{0}}) {
    fields.value = value;
    EXPECT_TRUE(store_.holdAgain(fields, SchedEventKind::kWait, 3, 2000000, held_));
    EXPECT_EQ(held_.record.duration, 0U) << value;
  }
}

}  // namespace
}  // namespace tarnwick
