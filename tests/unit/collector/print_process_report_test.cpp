#include "proc/print_process_report.h"

#include <gtest/gtest.h>

#include <string>

#include "collector/stats_collector.h"
#include "tests/unit/collector/captured_output.h"

namespace tarnwick {
namespace {

class ProcessSection : public testing::Test {
 protected:
  ProcessSection() { clearLog(); }

  static void put(ProcessMap& map, int32_t id, const std::string& name, int64_t ticks) {
    android::sp<ProcessRecord> record = new ProcessRecord;
    record->id = id;
    name.copy(record->name.data(), record->name.size() - 1);
    record->utime = ticks;
    record->total = ticks;
    record->runNs = ticks * 9'000'000;
    record->waitNs = ticks * 1'000'000;
    record->switches = ticks;
    map[id] = record;
  }

  std::string report() {
    printProcessReport(collector_);
    return logText();
  }

  StatsCollector collector_;
};

TEST_F(ProcessSection, listsWhatProcessesUsedBusiestFirst) {
  put(collector_.processesBefore, 1, "init", 100);
  put(collector_.processesBefore, 40, "idle", 7);
  put(collector_.processesBefore, 50, "ended", 70);
  put(collector_.processesAfter, 1, "init", 103);
  put(collector_.processesAfter, 40, "idle", 7);
  put(collector_.processesAfter, 60, "started", 5);
  EXPECT_EQ(
      report(),
      "60    started           : total=50   utime=50   stime=0    min_flt=0     maj_flt=0   \n"
      "1     init              : total=30   utime=30   stime=0    min_flt=0     maj_flt=0   \n");
}

TEST_F(ProcessSection, hasSchedulerColumnsForTheThreadsOfAProcess) {
  collector_.targetPid = 60;
  put(collector_.processesAfter, 61, "worker", 5);
  EXPECT_EQ(report(),
            "61    worker            : total=50   utime=50   stime=0    min_flt=0     maj_flt=0    "
            "rt=45   wt=5    switches=5   \n");
}

TEST_F(ProcessSection, hasNoSchedulerColumnsForAllProcesses) {
  put(collector_.processesAfter, 61, "worker", 5);
  EXPECT_EQ(report().find("rt="), std::string::npos);
}

TEST_F(ProcessSection, totalEqualToTheMinimumIsLeftOut) {
  collector_.minCpuMs = 50;
  put(collector_.processesAfter, 61, "worker", 5);
  EXPECT_EQ(report(), "");
}

TEST_F(ProcessSection, totalAboveTheMinimumIsListed) {
  collector_.minCpuMs = 49;
  put(collector_.processesAfter, 61, "worker", 5);
  EXPECT_NE(report(), "");
}

TEST_F(ProcessSection, minimumBelowZeroIsSigned) {
  collector_.minCpuMs = 0xFFFFFFFF;
  put(collector_.processesAfter, 61, "idle", 0);
  EXPECT_NE(report(), "");
}

TEST_F(ProcessSection, isEmptyWithoutProcessCpu) {
  collector_.procCpu = false;
  put(collector_.processesAfter, 61, "worker", 5);
  EXPECT_EQ(report(), "");
}

TEST_F(ProcessSection, changesNeitherMap) {
  put(collector_.processesBefore, 1, "init", 100);
  put(collector_.processesAfter, 61, "worker", 5);
  printProcessReport(collector_);
  EXPECT_TRUE(
      collector_.processesBefore.size() == 1 && collector_.processesBefore.at(1)->total == 100 &&
      collector_.processesAfter.size() == 1 && collector_.processesAfter.at(61)->total == 5);
}

TEST_F(ProcessSection, leavesNoRecordBehind) {
  put(collector_.processesAfter, 61, "worker", 5);
  printProcessReport(collector_);
  EXPECT_EQ(collector_.processesAfter.at(61)->getStrongCount(), 1);
}

}  // namespace
}  // namespace tarnwick
