#include "proc/sample_processes.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <unistd.h>

#include <fstream>
#include <set>
#include <string>
#include <vector>

#include "collector/stats_collector.h"
#include "tests/unit/collector/captured_output.h"
#include "tests/unit/collector/temporary_directory.h"

namespace tarnwick {
namespace {

// Above the largest process id of any kernel.
constexpr int32_t kNobody = 1 << 30;

// A directory with empty files. What a walk takes from a directory is its names; the files that it
// reads are always those of /proc.
class Directory : public TemporaryDirectory {
 public:
  explicit Directory(const std::vector<std::string>& names) {
    for (const std::string& name : names) {
      std::ofstream file(std::string(path()) + "/" + name);
    }
  }
};

std::set<int32_t> idsOf(const ProcessMap& map) {
  std::set<int32_t> ids;
  for (const auto& [id, record] : map) {
    ids.insert(id);
  }
  return ids;
}

class SampleProcesses : public testing::Test {
 protected:
  SampleProcesses() { clearLog(); }

  StatsCollector collector_;
  ProcessMap map_;
  const int32_t self_ = getpid();
};

TEST_F(SampleProcesses, findsThisProcess) {
  sampleProcesses(collector_, "/proc", map_);
  ASSERT_TRUE(map_.contains(self_));
  EXPECT_EQ(map_.at(self_)->ppid, getppid());
}

TEST_F(SampleProcesses, takesOnlyNamesOfDigits) {
  const std::string id = std::to_string(self_);
  const Directory directory({id, id + "x", "x" + id, "+1", "self", "-1", "1.5"});
  sampleProcesses(collector_, directory.path(), map_);
  EXPECT_EQ(idsOf(map_), std::set<int32_t>{self_});
}

TEST_F(SampleProcesses, leavesOutAProcessThatVanished) {
  sampleProcesses(collector_, Directory({std::to_string(kNobody)}).path(), map_);
  EXPECT_TRUE(map_.empty());
}

TEST_F(SampleProcesses, isSilentAboutAProcessThatVanished) {
  sampleProcesses(collector_, Directory({std::to_string(kNobody)}).path(), map_);
  EXPECT_TRUE(logRecords().empty());
}

TEST_F(SampleProcesses, replacesAnOlderRecord) {
  const android::sp<ProcessRecord> old = new ProcessRecord;
  map_[self_] = old;
  sampleProcesses(collector_, Directory({std::to_string(self_)}).path(), map_);
  EXPECT_NE(map_.at(self_), old);
}

TEST_F(SampleProcesses, keepsOtherRecords) {
  map_[kNobody] = new ProcessRecord;
  sampleProcesses(collector_, Directory({std::to_string(self_)}).path(), map_);
  EXPECT_EQ(idsOf(map_), (std::set<int32_t>{self_, kNobody}));
}

TEST_F(SampleProcesses, doesNothingWithoutProcessCpu) {
  collector_.procCpu = false;
  sampleProcesses(collector_, "/proc", map_);
  EXPECT_TRUE(map_.empty());
}

TEST_F(SampleProcesses, findsNothingInADirectoryThatIsGone) {
  collector_.targetPid = kNobody;
  sampleProcesses(collector_, ("/proc/" + std::to_string(kNobody) + "/task").c_str(), map_);
  EXPECT_TRUE(map_.empty());
}

TEST_F(SampleProcesses, leavesSchedstatOutForProcesses) {
  sampleProcesses(collector_, Directory({std::to_string(self_)}).path(), map_);
  const ProcessRecord& record = *map_.at(self_);
  EXPECT_TRUE(record.runNs == 0 && record.waitNs == 0 && record.switches == 0);
}

TEST_F(SampleProcesses, takesThreadsFromTheWatchedProcess) {
  collector_.targetPid = self_;
  sampleProcesses(collector_, "/proc/self/task", map_);
  EXPECT_TRUE(map_.contains(self_));
}

TEST_F(SampleProcesses, takesNoThreadThatTheWatchedProcessLacks) {
  collector_.targetPid = self_;
  sampleProcesses(collector_, Directory({std::to_string(getppid())}).path(), map_);
  EXPECT_TRUE(map_.empty());
}

TEST_F(SampleProcesses, takesSchedstatOfThreads) {
  if (access("/proc/self/schedstat", R_OK) != 0) {
    GTEST_SKIP() << "this kernel has no schedstat";
  }
  // The kernel brings the run time up to date when it looks for another task, not when it is read.
  sched_yield();
  collector_.targetPid = self_;
  sampleProcesses(collector_, Directory({std::to_string(self_)}).path(), map_);
  EXPECT_GT(map_.at(self_)->runNs, 0);
}

TEST_F(SampleProcesses, readingStatOfNobodyFails) {
  const android::sp<ProcessRecord> record = new ProcessRecord;
  EXPECT_FALSE(readProcessStat(collector_, kNobody, *record));
}

TEST_F(SampleProcesses, readingSchedstatOfNobodyGivesNoFields) {
  const android::sp<ProcessRecord> record = new ProcessRecord;
  EXPECT_EQ(readProcessSchedstat(collector_, kNobody, *record), 0);
}

TEST_F(SampleProcesses, readingSchedstatOfNobodyKeepsTheFields) {
  const android::sp<ProcessRecord> record = new ProcessRecord;
  record->switches = 7;
  readProcessSchedstat(collector_, kNobody, *record);
  EXPECT_EQ(record->switches, 7);
}

}  // namespace
}  // namespace tarnwick
