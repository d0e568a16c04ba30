// What the snapshot cycle does with the tables of the memory, network and block sources.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/unit/collector/made_up_device.h"

namespace tarnwick {
namespace {

using Paths = std::vector<std::string>;

class SourceTables : public MadeUpDevice {
 protected:
  SourceTables() {
    collector_.cpuCount = 0;  // no lines of single CPUs
    set("/proc/vmstat", "nr_free_pages 5\n");
    set("/proc/net/dev", "head\nhead\nlo: 1024 2 0 0 0 0 0 0 3072 4\n");
    set("/sys/block/sda/stat", "1 2 3 4 5 6 7 8 9 10 11\n");
    set("/sys/class/power_supply/battery/temp", "312\n");
  }

  // An after side as no kernel would give it, of a measurement that is over.
  void endedMeasurement() {
    hasPreviousSample = true;
    collector_.vmstatAfter = {{"x", 1}, {"y", 2}};
    collector_.netDevAfter = {{"z", record_}};
    collector_.blockAfter.fill(3);
  }

  const android::sp<NetDevRecord> record_ = new NetDevRecord;
};

TEST_F(SourceTables, startEmpty) {
  const StatsCollector collector;
  EXPECT_TRUE(collector.vmstatBefore.empty() && collector.vmstatAfter.empty() &&
              collector.netDevBefore.empty() && collector.netDevAfter.empty() &&
              collector.blockBefore == BlockStats{} && collector.blockAfter == BlockStats{} &&
              collector.blockDeviceNames.empty());
}

TEST_F(SourceTables, firstSampleReadsVmstat) {
  collector_.beginSample();
  EXPECT_EQ(collector_.vmstatBefore, (VmstatMap{{"nr_free_pages", 5}}));
}

TEST_F(SourceTables, firstSampleReadsTheInterfaces) {
  collector_.beginSample();
  EXPECT_EQ(collector_.netDevBefore.count("lo"), 1U);
}

TEST_F(SourceTables, firstSampleReadsTheDisks) {
  collector_.beginSample();
  EXPECT_EQ(collector_.blockBefore, (BlockStats{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}));
}

TEST_F(SourceTables, firstSampleReadsItsFilesInOrder) {
  collector_.beginSample();
  EXPECT_EQ(madeUpFiles().opened,
            (Paths{"/proc/stat", "/sys/block/sda/stat", "/proc/vmstat", "/proc/net/dev"}));
}

TEST_F(SourceTables, laterSampleReadsNoFiles) {
  endedMeasurement();
  collector_.beginSample();
  EXPECT_EQ(madeUpFiles().opened, Paths{});
}

TEST_F(SourceTables, laterSampleTakesOverVmstat) {
  endedMeasurement();
  collector_.vmstatBefore = {{"older", 9}};
  collector_.beginSample();
  EXPECT_EQ(collector_.vmstatBefore, (VmstatMap{{"x", 1}, {"y", 2}}));
}

TEST_F(SourceTables, laterSampleForgetsTheCountersThatWereBefore) {
  endedMeasurement();
  collector_.vmstatBefore = {{"x", 9}};
  collector_.beginSample();
  EXPECT_EQ(collector_.vmstatAfter["x"], 0);
}

TEST_F(SourceTables, endForgetsTheCountersBefore) {
  measure();
  EXPECT_EQ(collector_.vmstatBefore["nr_free_pages"], 0);
}

TEST_F(SourceTables, laterSampleTakesOverTheInterfacesWithTheirRecords) {
  endedMeasurement();
  collector_.netDevBefore = {{"older", record_}};
  collector_.beginSample();
  EXPECT_EQ(collector_.netDevBefore, (NetDevMap{{"z", record_}}));
}

TEST_F(SourceTables, laterSampleEmptiesTheInterfacesThatItTakesOver) {
  endedMeasurement();
  collector_.netDevBefore = {{"older", record_}};
  collector_.beginSample();
  EXPECT_EQ(collector_.netDevAfter, NetDevMap{});
}

TEST_F(SourceTables, laterSampleTakesOverTheDisks) {
  endedMeasurement();
  const BlockStats ended = collector_.blockAfter;
  collector_.beginSample();
  EXPECT_EQ(collector_.blockBefore, ended);
}

TEST_F(SourceTables, laterSampleLeavesTheDisksThatItTakesOver) {
  endedMeasurement();
  const BlockStats ended = collector_.blockAfter;
  collector_.beginSample();
  EXPECT_EQ(collector_.blockAfter, ended);
}

TEST_F(SourceTables, endReadsItsFilesInOrder) {
  collector_.beginSample();
  madeUpFiles().opened.clear();
  collector_.endSample();
  EXPECT_EQ(madeUpFiles().opened,
            (Paths{"/proc/net/dev", "/sys/block/sda/stat", "/proc/vmstat", "/proc/buddyinfo",
                   "/sys/class/power_supply/battery/temp", "/proc/stat"}));
}

TEST_F(SourceTables, endClearsTheBeforeSide) {
  measure();
  EXPECT_TRUE(collector_.netDevBefore.empty() && collector_.blockBefore == BlockStats{});
}

TEST_F(SourceTables, endLeavesVmstatAfter) {
  measure();
  EXPECT_EQ(collector_.vmstatAfter.at("nr_free_pages"), 5);
}

TEST_F(SourceTables, endLeavesTheInterfacesAfter) {
  measure();
  EXPECT_EQ(collector_.netDevAfter.at("lo")->tx_packets, 4);
}

TEST_F(SourceTables, endLeavesTheDisksAfter) {
  measure();
  EXPECT_EQ(collector_.blockAfter, (BlockStats{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}));
}

TEST_F(SourceTables, endLeavesTheDisksThatWereFound) {
  measure();
  EXPECT_EQ(collector_.blockDeviceNames, (std::vector<std::string>{"sda"}));
}

TEST_F(SourceTables, endReleasesTheInterfacesBefore) {
  endedMeasurement();
  collector_.beginSample();
  collector_.endSample();
  EXPECT_EQ(record_->getStrongCount(), 1);
}

TEST_F(SourceTables, sectionsOfAReportHaveTheirOrder) {
  collector_.procCpu = true;
  collector_.minCpuMs = 0xFFFFFFFF;  // minus one: idle processes, too
  collector_.lastPagetypeinfoTime = -60001;
  set("/proc/buddyinfo", "Node 0, zone\n");
  set("/proc/pagetypeinfo", "Number of blocks type\n");
  collector_.beginSample();
  set("/proc/net/dev", "head\nhead\nlo: 1024 3 0 0 0 0 0 0 3072 4\n");
  const std::string report = endMeasurement();
  const Paths order = {"min_flt=",   "cpu  : ",  "rw_reqs=",         "alloc_stalls=",
                       "MemFree=",   "Node 0, ", "Number of blocks", "body_temp=312\n",
                       "lo: rx_kb=", "uptime="};
  Paths found = order;
  std::stable_sort(found.begin(), found.end(),
                   [&](const auto& a, const auto& b) { return report.find(a) < report.find(b); });
  found.erase(
      std::remove_if(found.begin(), found.end(),
                     [&](const auto& label) { return report.find(label) == std::string::npos; }),
      found.end());
  EXPECT_EQ(found, order);
}

TEST_F(SourceTables, sectionsAreTheSameWithEveryOption) {
  collector_.cpuCount = static_cast<int32_t>(collector_.freqBefore.size());
  collector_.freq = true;
  const std::string report = measure();
  EXPECT_TRUE(report.find("rw_reqs=") < report.find("alloc_stalls=") &&
              report.find("alloc_stalls=") < report.find("body_temp=") &&
              report.find("body_temp=") < report.find("uptime="))
      << report;
}

}  // namespace
}  // namespace tarnwick
