#include "proc/sample_processes.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
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

// A directory of tasks with the names that are given. This process is in the place of the first
// one, the others are empty files.
class Tasks : public TemporaryDirectory {
 public:
  explicit Tasks(const std::vector<std::string>& names) {
    std::filesystem::create_symlink("/proc/self", pathOf(names.front()));
    for (size_t i = 1; i < names.size(); ++i) {
      std::ofstream file(pathOf(names[i]));
    }
  }

  std::string pathOf(const std::string& name) const { return std::string(path()) + "/" + name; }
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
  const Tasks tasks({id, id + "x", "x" + id, "+1", "self", "-1", "1.5"});
  sampleProcesses(collector_, tasks.path(), map_);
  EXPECT_EQ(idsOf(map_), std::set<int32_t>{self_});
}

TEST_F(SampleProcesses, leavesOutAProcessThatVanished) {
  sampleProcesses(collector_, Tasks({"self", std::to_string(kNobody)}).path(), map_);
  EXPECT_TRUE(map_.empty());
}

TEST_F(SampleProcesses, isSilentAboutAProcessThatVanished) {
  sampleProcesses(collector_, Tasks({"self", std::to_string(kNobody)}).path(), map_);
  EXPECT_TRUE(logRecords().empty());
}

TEST_F(SampleProcesses, isSilentAboutAFileThatIsMissing) {
  const Tasks tasks({"self"});
  std::filesystem::create_directory(tasks.pathOf("7"));
  sampleProcesses(collector_, tasks.path(), map_);
  EXPECT_TRUE(map_.empty() && logRecords().empty());
}

TEST_F(SampleProcesses, complainsWithTheWholePath) {
  const Tasks tasks({"self"});
  std::filesystem::create_directories(tasks.pathOf("7/stat"));
  sampleProcesses(collector_, tasks.path(), map_);
  EXPECT_EQ(logText(), "Error opening " + tasks.pathOf("7/stat") + ": Is a directory (21)\n");
}

TEST_F(SampleProcesses, leavesNoDescriptorOpen) {
  const auto openDescriptors = [] {
    const std::filesystem::directory_iterator entries("/proc/self/fd");
    return std::distance(begin(entries), end(entries));
  };
  const auto before = openDescriptors();
  sampleProcesses(collector_, "/proc", map_);
  EXPECT_EQ(openDescriptors(), before);
}

TEST_F(SampleProcesses, replacesAnOlderRecord) {
  const android::sp<ProcessRecord> old = new ProcessRecord;
  map_[self_] = old;
  sampleProcesses(collector_, Tasks({std::to_string(self_)}).path(), map_);
  EXPECT_NE(map_.at(self_), old);
}

TEST_F(SampleProcesses, keepsOtherRecords) {
  map_[kNobody] = new ProcessRecord;
  sampleProcesses(collector_, Tasks({std::to_string(self_)}).path(), map_);
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
  sampleProcesses(collector_, Tasks({std::to_string(self_)}).path(), map_);
  const ProcessRecord& record = *map_.at(self_);
  EXPECT_TRUE(record.runNs == 0 && record.waitNs == 0 && record.switches == 0);
}

TEST_F(SampleProcesses, takesThreadsFromTheWatchedProcess) {
  collector_.targetPid = self_;
  sampleProcesses(collector_, "/proc/self/task", map_);
  EXPECT_TRUE(map_.contains(self_));
}

TEST_F(SampleProcesses, takesSchedstatOfThreads) {
  if (access("/proc/self/schedstat", R_OK) != 0) {
    GTEST_SKIP() << "this kernel has no schedstat";
  }
  // The kernel brings the run time up to date when it looks for another task, not when it is read.
  sched_yield();
  collector_.targetPid = self_;
  sampleProcesses(collector_, Tasks({std::to_string(self_)}).path(), map_);
  EXPECT_GT(map_.at(self_)->runNs, 0);
}

TEST_F(SampleProcesses, takesTheFiguresFromTheDirectory) {
  const Tasks tasks({"self"});
  std::filesystem::create_directory(tasks.pathOf("7"));
  std::ofstream(tasks.pathOf("7/stat")) << "7 (worker) S 5 0 0 0 0 0 11 0 22 0 40 2\n";
  std::ofstream(tasks.pathOf("7/schedstat")) << "97000 145000 134\n";
  collector_.targetPid = kNobody;
  sampleProcesses(collector_, tasks.path(), map_);
  const ProcessRecord& record = *map_.at(7);
  EXPECT_EQ(record.minFaults, 11);
  EXPECT_EQ(record.utime, 40);
  EXPECT_EQ(record.waitNs, 145000);
}

TEST_F(SampleProcesses, takesATextThatBeginsWithNulAsZeros) {
  const Tasks tasks({"self"});
  std::filesystem::create_directory(tasks.pathOf("7"));
  std::ofstream(tasks.pathOf("7/stat")) << '\0' << " (worker) S 5 0 0 0 0 0 11 0 22 0 40 2\n";
  sampleProcesses(collector_, tasks.path(), map_);
  ASSERT_TRUE(map_.contains(7));
  const ProcessRecord& record = *map_.at(7);
  EXPECT_EQ(record.name, decltype(record.name){});
  EXPECT_EQ(record.minFaults, 0);
  EXPECT_EQ(record.total, 0);
}

TEST_F(SampleProcesses, leavesOutAnEmptyText) {
  const Tasks tasks({"self"});
  std::filesystem::create_directory(tasks.pathOf("7"));
  std::ofstream file(tasks.pathOf("7/stat"));
  sampleProcesses(collector_, tasks.path(), map_);
  EXPECT_TRUE(map_.empty());
}

class ReadProcess : public SampleProcesses {
 protected:
  ~ReadProcess() override { close(proc_.fd); }

  const KernelFolder proc_ = {open("/proc", O_RDONLY | O_DIRECTORY | O_CLOEXEC), "/proc/"};
  const android::sp<ProcessRecord> record_ = new ProcessRecord;
};

TEST_F(ReadProcess, statOfNobodyFails) {
  EXPECT_FALSE(readProcessStat(collector_, proc_, kNobody, *record_));
}

TEST_F(ReadProcess, schedstatOfNobodyGivesNoFields) {
  EXPECT_EQ(readProcessSchedstat(collector_, proc_, kNobody, *record_), 0);
}

TEST_F(ReadProcess, schedstatOfNobodyKeepsTheFields) {
  record_->switches = 7;
  readProcessSchedstat(collector_, proc_, kNobody, *record_);
  EXPECT_EQ(record_->switches, 7);
}

}  // namespace
}  // namespace tarnwick
