#include "proc/print_cpu_report.h"

#include <gtest/gtest.h>

#include <string>

#include "collector/stats_collector.h"
#include "tests/unit/collector/captured_output.h"

namespace tarnwick {
namespace {

// A CPU's line as long as no number outgrows its column, and with PMU figures.
constexpr size_t kLine = 77;
constexpr size_t kWideLine = 136;

// A device with as many CPUs as a test wants, which did nothing in an interval of one second.
class CpuReport : public testing::Test {
 protected:
  CpuReport() {
    clearLog();
    setCpuCount(3);
    collector_.uptimeBefore = 5000;
    collector_.uptimeAfter = 6000;
  }

  void setCpuCount(int32_t count) {
    const auto cpus = static_cast<size_t>(count);
    collector_.cpuCount = count;
    for (auto* table : {&collector_.cpuBefore, &collector_.cpuAfter}) {
      table->assign(cpus + 1, CpuTimes{});
    }
    for (auto* table : {&collector_.freqBefore, &collector_.freqAfter}) {
      table->assign(cpus, FreqMap{});
    }
    collector_.pmuFd.assign(cpus, PmuFds{});
    collector_.pmuCount.assign(cpus, PmuCounts{});
  }

  CpuTimes& after(size_t cpu) { return collector_.cpuAfter.at(cpu); }
  CpuTimes& aggregate() { return collector_.cpuAfter.back(); }

  std::string report() {
    printCpuReport(collector_);
    return logText();
  }

  StatsCollector collector_;
};

TEST_F(CpuReport, hasALineForEachCpuThatWorkedAndOneForAll) {
  after(0) = {.user = 10, .idle = 80, .iowait = 10};
  after(2) = {.system = 50, .idle = 50};
  aggregate() = {.user = 10, .system = 50, .idle = 130, .iowait = 10};
  EXPECT_EQ(report(),
            "cpu 0: user=100   kernel=0     idle=800   iowait=100   total=1000   perc=10 \n"
            "cpu 2: user=0     kernel=500   idle=500   iowait=0     total=1000   perc=50 \n"
            "cpu  : user=100   kernel=500   idle=1300  iowait=100   total=2000   perc=30 \n");
}

TEST_F(CpuReport, timesAreThoseSinceTheBeforeSnapshot) {
  collector_.cpuBefore.at(0) = {.user = 40, .idle = 100};
  after(0) = {.user = 50, .idle = 190};
  EXPECT_EQ(report().substr(0, kLine),
            "cpu 0: user=100   kernel=0     idle=900   iowait=0     total=1000   perc=10 \n");
}

TEST_F(CpuReport, idleCpuHasNoLine) {
  after(1) = {.idle = 100};
  EXPECT_EQ(report().find("cpu 1"), std::string::npos);
}

TEST_F(CpuReport, cpuThatOnlyWaitedHasALine) {
  after(1) = {.idle = 90, .iowait = 10};
  EXPECT_NE(report().find("cpu 1: "), std::string::npos);
}

// The interval of the sum is 0 when no CPU has a line.
TEST_F(CpuReport, sumOfIdleCpusHasNoTotal) {
  aggregate() = {.idle = 300};
  EXPECT_EQ(report(),
            "cpu  : user=0     kernel=0     idle=0     iowait=0     total=0      perc=0  \n");
}

TEST_F(CpuReport, sumWithWorkThatNoCpuShowsHasTheLargestPerc) {
  aggregate() = {.user = 2, .system = 1, .idle = 300, .iowait = 4};
  EXPECT_EQ(report(),
            "cpu  : user=20    kernel=10    idle=-70   iowait=40    total=0      "
            "perc=2147483647\n");
}

TEST_F(CpuReport, sumWithLittleIdleTimeIsPlausibleByTheCpusThatHaveALine) {
  after(0) = {.user = 100};
  after(1) = {.user = 100};
  aggregate() = {.user = 200, .idle = 100};
  EXPECT_EQ(report().substr(2 * kLine),
            "cpu  : user=2000  kernel=0     idle=1000  iowait=0     total=3000   perc=66 \n");
}

TEST_F(CpuReport, sumWithMoreIdleTimeThanTheCpusThatHaveALineIsCutToTheirInterval) {
  after(0) = {.user = 10, .idle = 90};
  aggregate() = {.user = 10, .idle = 101};
  EXPECT_EQ(report().substr(kLine),
            "cpu  : user=100   kernel=0     idle=900   iowait=0     total=1000   perc=10 \n");
}

// The kernel has no line for it, so it was read as the sum of all, both times.
TEST_F(CpuReport, offlineCpuHasTheLineOfTheSumWithinOneInterval) {
  after(0) = {.user = 40, .idle = 60};
  aggregate() = {.user = 40, .idle = 140};
  after(2) = aggregate();
  EXPECT_EQ(report(),
            "cpu 0: user=400   kernel=0     idle=600   iowait=0     total=1000   perc=40 \n"
            "cpu 2: user=400   kernel=0     idle=600   iowait=0     total=1000   perc=40 \n"
            "cpu  : user=400   kernel=0     idle=1400  iowait=0     total=1800   perc=22 \n");
}

TEST_F(CpuReport, iowaitThatWentBackwardsIsZeroAndMakesTheTotalTheInterval) {
  collector_.cpuBefore.at(0) = {.iowait = 20};
  after(0) = {.user = 10, .idle = 30, .iowait = 15};
  EXPECT_EQ(report().substr(0, kLine),
            "cpu 0: user=100   kernel=0     idle=300   iowait=0     total=1000   perc=10 \n");
}

TEST_F(CpuReport, iowaitOfTheSumThatWentBackwardsMakesItsTotalTheIntervals) {
  after(0) = {.user = 10, .idle = 10};
  after(1) = {.user = 10, .idle = 10};
  aggregate() = {.user = 20, .idle = 20, .iowait = -1};
  EXPECT_EQ(report().substr(2 * kLine),
            "cpu  : user=200   kernel=0     idle=200   iowait=0     total=2000   perc=10 \n");
}

TEST_F(CpuReport, idleAcrossASuspendIsTheRestOfTheInterval) {
  after(0) = {.user = 10, .idle = 100000};
  EXPECT_EQ(report().substr(0, kLine),
            "cpu 0: user=100   kernel=0     idle=900   iowait=0     total=1000   perc=10 \n");
}

TEST_F(CpuReport, intervalIsThatOfTheUptimeClock) {
  collector_.realtimeAfter = 99000;
  collector_.uptimeAfter = 5200;
  after(0) = {.user = 10, .idle = 21};
  EXPECT_EQ(report().substr(0, kLine),
            "cpu 0: user=100   kernel=0     idle=100   iowait=0     total=200    perc=50 \n");
}

TEST_F(CpuReport, cpusAboveNineAlignWithTheOthers) {
  setCpuCount(12);
  after(11) = {.user = 1};
  EXPECT_EQ(report().substr(0, 12), "cpu11: user=");
}

TEST_F(CpuReport, moreCpusThanSixteenHaveTheirLines) {
  setCpuCount(40);
  after(39) = {.user = 1};
  EXPECT_EQ(report().substr(0, 12), "cpu39: user=");
}

TEST_F(CpuReport, ofNoCpusIsTheSum) {
  setCpuCount(0);
  aggregate() = {.user = 1};
  EXPECT_EQ(report().substr(0, 12), "cpu  : user=");
}

TEST_F(CpuReport, ofANegativeCountIsEmpty) {
  collector_.cpuCount = -1;
  EXPECT_EQ(report(), "");
}

TEST_F(CpuReport, lineAndItsEndAreTwoRecordsOfTheLog) {
  after(0) = {.user = 10, .idle = 90};
  printCpuReport(collector_);
  EXPECT_EQ(logRecords().at(1).text, "\n");
}

TEST_F(CpuReport, sumAndItsEndAreTwoRecordsOfTheLog) {
  printCpuReport(collector_);
  EXPECT_EQ(logRecords().size(), 2U);
}

TEST_F(CpuReport, lineAndItsEndAreOneLineOnStandardOutput) {
  collector_.useStdout = true;
  EXPECT_EQ(captureStdout([this] { printCpuReport(collector_); }),
            "cpu  : user=0     kernel=0     idle=0     iowait=0     total=0      perc=0  \n");
}

class CpuReportWithPmu : public CpuReport {
 protected:
  CpuReportWithPmu() { collector_.pmu = true; }

  PmuCounts& counts(size_t cpu) { return collector_.pmuCount.at(cpu); }
};

TEST_F(CpuReportWithPmu, figuresEndTheLineOfTheirCpu) {
  after(1) = {.user = 10, .idle = 90};
  counts(0) = {1, 1, 1, 1, 1, 1};
  counts(1) = {300, 100, 100, 20, 80, 7};
  EXPECT_EQ(report().substr(0, kWideLine),
            "cpu 1: user=100   kernel=0     idle=900   iowait=0     total=1000   perc=10 "
            "   crefs=400          hit=75.00   br=100          hit=80.00\n");
}

TEST_F(CpuReportWithPmu, figuresOfTheSumAreThoseOfTheCpusThatHaveALine) {
  after(0) = {.user = 1};
  after(1) = {.idle = 100};
  after(2) = {.user = 1};
  counts(0) = {300, 100, 100, 20, 80, 7};
  counts(1) = {9000, 9000, 9000, 9000, 9000, 9000};
  counts(2) = {500, 100, 400, 30, 70, 7};
  printCpuReport(collector_);
  EXPECT_EQ(logRecords().back().text,
            "   crefs=1000         hit=50.00   br=200          hit=75.00\n");
}

TEST_F(CpuReportWithPmu, cpuWithoutCountersShowsZeros) {
  after(0) = {.user = 1};
  printCpuReport(collector_);
  EXPECT_EQ(logRecords().at(1).text,
            "   crefs=0            hit=0.00    br=0            hit=0.00 \n");
}

TEST_F(CpuReportWithPmu, figuresAreARecordOfTheirOwn) {
  after(0) = {.user = 1};
  printCpuReport(collector_);
  EXPECT_EQ(logRecords().size(), 4U);
}

TEST_F(CpuReport, withoutPmuCountsAreNotShown) {
  after(0) = {.user = 1};
  collector_.pmuCount.at(0) = {300, 100, 100, 20, 80, 7};
  EXPECT_EQ(report().find("crefs"), std::string::npos);
}

class CpuReportWithFreq : public CpuReport {
 protected:
  CpuReportWithFreq() { collector_.freq = true; }
};

TEST_F(CpuReportWithFreq, frequenciesFollowTheLineOfTheirCpu) {
  after(1) = {.user = 10, .idle = 90};
  collector_.freqBefore.at(1) = {{300000, 10}, {576000, 20}};
  collector_.freqAfter.at(1) = {{300000, 60}, {576000, 20}, {768000, 50}};
  EXPECT_EQ(report(),
            "cpu 1: user=100   kernel=0     idle=900   iowait=0     total=1000   perc=10 \n"
            "    freq: 300000  500\n"
            "    freq: 768000  500\n"
            "cpu  : user=0     kernel=0     idle=0     iowait=0     total=0      perc=0  \n");
}

TEST_F(CpuReportWithFreq, idleCpuHasNoFrequencies) {
  collector_.freqAfter.at(1) = {{300000, 60}};
  EXPECT_EQ(report().find("freq"), std::string::npos);
}

TEST_F(CpuReportWithFreq, newFrequencyIsAddedToTheBeforeMap) {
  after(1) = {.user = 10};
  collector_.freqAfter.at(1) = {{300000, 60}};
  printCpuReport(collector_);
  EXPECT_EQ(collector_.freqBefore.at(1), (FreqMap{{300000, 0}}));
}

TEST_F(CpuReportWithFreq, frequenciesFollowThePmuFigures) {
  collector_.pmu = true;
  after(0) = {.user = 10};
  collector_.freqAfter.at(0) = {{300000, 60}};
  EXPECT_LT(report().find("crefs"), logText().find("freq"));
}

TEST_F(CpuReport, withoutFreqFrequenciesAreNotShown) {
  after(0) = {.user = 10};
  collector_.freqAfter.at(0) = {{300000, 60}};
  EXPECT_EQ(report().find("freq"), std::string::npos);
}

}  // namespace
}  // namespace tarnwick
