#include "proc/process_report.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/unit/support/string_sink.h"

namespace tarnwick {
namespace {

using Deltas = std::vector<android::sp<ProcessRecord>>;

android::sp<ProcessRecord> delta(int32_t id, const std::string& name, int64_t total) {
  android::sp<ProcessRecord> record = new ProcessRecord;
  record->id = id;
  name.copy(record->name.data(), record->name.size() - 1);
  record->total = total;
  record->utime = 1;
  record->stime = 2;
  record->minFaults = 3;
  record->majFaults = 4;
  record->runNs = 5;
  record->waitNs = 6;
  record->switches = 7;
  return record;
}

std::string processLines(const Deltas& deltas) {
  StringSink sink;
  formatProcessReport(deltas, ProcessColumns::kProcesses, sink);
  return sink.text();
}

std::string threadLines(const Deltas& deltas) {
  StringSink sink;
  formatProcessReport(deltas, ProcessColumns::kThreads, sink);
  return sink.text();
}

TEST(ProcessReport, processHasTimesAndFaults) {
  EXPECT_EQ(
      processLines({delta(1234, "system_server", 30)}),
      "1234  system_server     : total=30   utime=1    stime=2    min_flt=3     maj_flt=4   \n");
}

TEST(ProcessReport, threadHasSchedulerFiguresToo) {
  EXPECT_EQ(threadLines({delta(1234, "RenderThread", 30)}),
            "1234  RenderThread      : total=30   utime=1    stime=2    min_flt=3     maj_flt=4    "
            "rt=5    wt=6    switches=7   \n");
}

TEST(ProcessReport, nameOf15CharactersIsPaddedTo18) {
  EXPECT_EQ(processLines({delta(5, "com.example.lon", 30)}).substr(0, 26),
            "5     com.example.lon   : ");
}

TEST(ProcessReport, nameWiderThanItsColumnIsWhole) {
  EXPECT_EQ(processLines({delta(5, std::string(39, 'k'), 30)}).substr(0, 47),
            "5     " + std::string(39, 'k') + ": ");
}

TEST(ProcessReport, numbersWiderThanTheirColumnsAreWhole) {
  const android::sp<ProcessRecord> wide = delta(4194304, "wide", 1234567);
  wide->utime = 234567;
  wide->stime = 1000000;
  wide->minFaults = 7654321;
  wide->majFaults = -54321;
  wide->runNs = 1234567;
  wide->waitNs = 9223372036854;
  wide->switches = 123456;
  EXPECT_EQ(threadLines({wide}),
            "4194304 wide              : total=1234567 utime=234567 stime=1000000 min_flt=7654321 "
            "maj_flt=-54321 rt=1234567 wt=9223372036854 switches=123456\n");
}

TEST(ProcessReport, linesKeepTheirOrder) {
  const std::string lines = processLines({delta(3, "c", 10), delta(1, "a", 30)});
  EXPECT_LT(lines.find("c "), lines.find("a "));
}

TEST(ProcessReport, eachLineIsOneRecord) {
  StringSink sink;
  formatProcessReport({delta(1, "a", 30), delta(2, "b", 20)}, ProcessColumns::kThreads, sink);
  EXPECT_EQ(sink.records().size(), 2U);
}

TEST(ProcessReport, nothingGivesNothing) {
  EXPECT_EQ(processLines({}), "");
}

}  // namespace
}  // namespace tarnwick
