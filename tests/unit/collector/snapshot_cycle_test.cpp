#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "collector/stats_collector.h"
#include "tests/unit/collector/captured_output.h"

namespace tarnwick {
namespace {

TEST(StatsCollector, startsIdleWithProcessCpuAlone) {
  const StatsCollector collector;
  EXPECT_TRUE(!collector.sampling && !collector.useStdout && !collector.blockDump &&
              !collector.systrace && collector.procCpu && !collector.freq && !collector.pmu);
}

TEST(StatsCollector, watchesNoProcessAtFirst) {
  EXPECT_EQ(StatsCollector().targetPid, -1);
}

TEST(StatsCollector, hasNoMinimumCpuAtFirst) {
  EXPECT_EQ(StatsCollector().minCpuMs, 0U);
}

TEST(StatsCollector, countsConfiguredCpus) {
  EXPECT_EQ(StatsCollector().cpuCount, sysconf(_SC_NPROCESSORS_CONF));
}

TEST(StatsCollector, keepsTheSumBehindTheLastCpu) {
  const StatsCollector collector;
  EXPECT_EQ(collector.cpuBefore.size(), static_cast<size_t>(collector.cpuCount) + 1);
}

TEST(StatsCollector, startsWithZeroTimes) {
  const StatsCollector collector;
  EXPECT_EQ(collector.cpuAfter.back(), CpuTimes{});
}

// A first measurement, or with hasPreviousSample one that follows another.
class SnapshotCycle : public testing::Test {
 protected:
  SnapshotCycle() {
    clearLog();
    hasPreviousSample = false;
  }
  ~SnapshotCycle() override { hasPreviousSample = false; }

  // An after side as no kernel would give it.
  void fillAfterSide() {
    for (CpuTimes& times : collector_.cpuAfter) {
      times = kTimes;
    }
    for (FreqMap& map : collector_.freqAfter) {
      map = {{123, 456}};
    }
    collector_.processesAfter[kId] = record_;
  }

  static constexpr CpuTimes kTimes = {-1, -2, -3, -4, -5, -6, -7};
  static constexpr int32_t kId = 1 << 30;

  StatsCollector collector_;
  const android::sp<ProcessRecord> record_ = new ProcessRecord;
};

TEST_F(SnapshotCycle, firstSampleReadsTheSumOfTheCpus) {
  collector_.beginSample();
  EXPECT_GT(collector_.cpuBefore.back().idle, 0);
}

TEST_F(SnapshotCycle, firstSampleReadsEachCpu) {
  collector_.beginSample();
  for (const CpuTimes& times : collector_.cpuBefore) {
    EXPECT_NE(times, CpuTimes{});
  }
}

TEST_F(SnapshotCycle, firstSampleReadsTheProcesses) {
  collector_.beginSample();
  EXPECT_TRUE(collector_.processesBefore.contains(getpid()));
}

TEST_F(SnapshotCycle, firstSampleIsRemembered) {
  collector_.beginSample();
  EXPECT_TRUE(hasPreviousSample);
}

TEST_F(SnapshotCycle, beginStartsSampling) {
  collector_.beginSample();
  EXPECT_TRUE(collector_.sampling);
}

TEST_F(SnapshotCycle, endStopsSampling) {
  collector_.beginSample();
  collector_.endSample();
  EXPECT_FALSE(collector_.sampling);
}

TEST_F(SnapshotCycle, laterSampleTakesOverTheTimesOfEveryCpuAndTheSum) {
  hasPreviousSample = true;
  fillAfterSide();
  collector_.beginSample();
  EXPECT_EQ(collector_.cpuBefore, std::vector<CpuTimes>(collector_.cpuBefore.size(), kTimes));
}

TEST_F(SnapshotCycle, laterSampleTakesOverTheProcesses) {
  hasPreviousSample = true;
  fillAfterSide();
  collector_.beginSample();
  EXPECT_EQ(collector_.processesBefore, (ProcessMap{{kId, record_}}));
}

TEST_F(SnapshotCycle, laterSampleForgetsOlderProcesses) {
  hasPreviousSample = true;
  collector_.processesBefore[kId - 1] = record_;
  fillAfterSide();
  collector_.beginSample();
  EXPECT_FALSE(collector_.processesBefore.contains(kId - 1));
}

TEST_F(SnapshotCycle, laterSampleEmptiesTheProcessesThatItTakesOver) {
  hasPreviousSample = true;
  collector_.processesBefore[kId - 1] = record_;
  fillAfterSide();
  collector_.beginSample();
  EXPECT_TRUE(collector_.processesAfter.empty());
}

TEST_F(SnapshotCycle, laterSampleTakesOverTheFrequencies) {
  hasPreviousSample = true;
  collector_.freq = true;
  fillAfterSide();
  collector_.beginSample();
  EXPECT_EQ(collector_.freqBefore.at(0), (FreqMap{{123, 456}}));
}

TEST_F(SnapshotCycle, laterSampleEmptiesTheFrequenciesThatItTakesOver) {
  hasPreviousSample = true;
  collector_.freq = true;
  collector_.freqBefore.at(0) = {{123, 400}};
  fillAfterSide();
  collector_.beginSample();
  EXPECT_TRUE(collector_.freqAfter.at(0).empty());
}

TEST_F(SnapshotCycle, laterSampleStampsItsTimesAfresh) {
  hasPreviousSample = true;
  collector_.uptimeBefore = -1;
  collector_.realtimeBefore = -1;
  collector_.beginSample();
  EXPECT_TRUE(collector_.uptimeBefore > 0 && collector_.realtimeBefore > 0);
}

TEST_F(SnapshotCycle, watchedProcessThatIsGoneGivesNoThreads) {
  collector_.targetPid = kId;
  collector_.beginSample();
  EXPECT_TRUE(collector_.processesBefore.empty());
}

TEST_F(SnapshotCycle, watchedProcessGivesItsThreadsAlone) {
  collector_.targetPid = getpid();
  collector_.beginSample();
  EXPECT_TRUE(collector_.processesBefore.contains(getpid()) &&
              !collector_.processesBefore.contains(getppid()));
}

TEST_F(SnapshotCycle, withoutProcessCpuBothMapsStayEmpty) {
  collector_.procCpu = false;
  collector_.beginSample();
  const bool emptyBefore = collector_.processesBefore.empty();
  collector_.endSample();
  EXPECT_TRUE(emptyBefore && collector_.processesAfter.empty());
}

TEST_F(SnapshotCycle, endReadsTheAfterSide) {
  collector_.beginSample();
  collector_.endSample();
  EXPECT_TRUE(collector_.cpuAfter.back().idle > 0 && collector_.processesAfter.contains(getpid()));
}

TEST_F(SnapshotCycle, endClearsTheTimesBefore) {
  collector_.beginSample();
  collector_.endSample();
  EXPECT_EQ(collector_.cpuBefore, std::vector<CpuTimes>(collector_.cpuBefore.size()));
}

TEST_F(SnapshotCycle, endClearsTheProcessesBefore) {
  collector_.beginSample();
  collector_.endSample();
  EXPECT_TRUE(collector_.processesBefore.empty());
}

TEST_F(SnapshotCycle, endClearsTheFrequenciesBefore) {
  collector_.beginSample();
  collector_.freqBefore.at(0) = {{123, 456}};
  collector_.endSample();
  EXPECT_TRUE(collector_.freqBefore.at(0).empty());
}

TEST_F(SnapshotCycle, endClearsTheDisksBefore) {
  collector_.beginSample();
  collector_.blockBefore.fill(123);
  collector_.endSample();
  EXPECT_EQ(collector_.blockBefore, BlockStats{});
}

TEST_F(SnapshotCycle, endClearsTheCountersBefore) {
  collector_.beginSample();
  collector_.vmstatBefore["nobody's"] = 123;
  collector_.endSample();
  EXPECT_EQ(collector_.vmstatBefore["nobody's"], 0);
}

TEST_F(SnapshotCycle, endClearsTheInterfacesBefore) {
  collector_.beginSample();
  collector_.netDevBefore["nobody's"] = new NetDevRecord;
  collector_.endSample();
  EXPECT_TRUE(collector_.netDevBefore.empty());
}

TEST_F(SnapshotCycle, nextMeasurementBeginsWithWhatTheLastOneEnded) {
  collector_.beginSample();
  collector_.endSample();
  const std::vector<CpuTimes> ended = collector_.cpuAfter;
  collector_.beginSample();
  EXPECT_EQ(collector_.cpuBefore, ended);
}

TEST_F(SnapshotCycle, timingLineIsTheLastRecord) {
  collector_.beginSample();
  collector_.endSample();
  EXPECT_EQ(logRecords().back().text.substr(0, 7), "uptime=");
}

TEST_F(SnapshotCycle, timingLineIsPrintedOnce) {
  collector_.beginSample();
  collector_.endSample();
  EXPECT_EQ(logText().find("uptime="), logText().rfind("uptime="));
}

TEST_F(SnapshotCycle, timingLineHasEachTimeInItsPlace) {
  collector_.beginSample();
  collector_.uptimeBefore -= 1000000;
  collector_.realtimeBefore -= 2000000;
  collector_.procTimeBefore = 3000000;
  collector_.endSample();
  EXPECT_EQ(
      logRecords().back().text,
      "uptime=" + std::to_string(collector_.uptimeAfter - collector_.uptimeBefore) +
          ", realtime=" + std::to_string(collector_.realtimeAfter - collector_.realtimeBefore) +
          ", proctimebefore=3000000, proctimeafter=" + std::to_string(collector_.procTimeAfter) +
          "\n");
}

TEST_F(SnapshotCycle, processesArePrintedBeforeCpus) {
  collector_.minCpuMs = 0xFFFFFFFF;  // minus one: idle processes, too
  collector_.beginSample();
  collector_.endSample();
  EXPECT_LT(logText().find("min_flt="), logText().find("cpu  : "));
}

TEST_F(SnapshotCycle, standardOutputIsFlushedAtTheEnd) {
  collector_.useStdout = true;
  captureStdout([this] {
    collector_.beginSample();
    collector_.endSample();
    // What was flushed is in the file by now, which is rewound here and read by nobody.
    EXPECT_GT(lseek(STDOUT_FILENO, 0, SEEK_CUR), 0);
  });
}

}  // namespace
}  // namespace tarnwick
