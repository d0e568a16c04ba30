#include "proc/process_delta.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

namespace tarnwick {
namespace {

// The counters of a process, and ids apart from the map's key.
struct Sample {
  std::string name = "name";
  int64_t utime = 0;
  int64_t stime = 0;
  int64_t total = 0;
  int64_t minFaults = 0;
  int64_t majFaults = 0;
  int64_t runNs = 0;
  int64_t waitNs = 0;
  int64_t switches = 0;
};

void put(ProcessMap& map, int32_t id, const Sample& sample) {
  android::sp<ProcessRecord> record = new ProcessRecord;
  record->id = id;
  sample.name.copy(record->name.data(), record->name.size() - 1);
  record->ppid = 1;
  record->utime = sample.utime;
  record->stime = sample.stime;
  record->total = sample.total;
  record->minFaults = sample.minFaults;
  record->majFaults = sample.majFaults;
  record->numThreads = 2;
  record->blkioTicks = 3;
  record->runNs = sample.runNs;
  record->waitNs = sample.waitNs;
  record->switches = sample.switches;
  map[id] = record;
}

constexpr int64_t kAll = std::numeric_limits<int64_t>::min();

// The difference of one process that was there before and after.
android::sp<ProcessRecord> deltaOf(const Sample& before, const Sample& after) {
  ProcessMap beforeMap;
  ProcessMap afterMap;
  put(beforeMap, 7, before);
  put(afterMap, 7, after);
  return subtractProcesses(beforeMap, afterMap, kAll).at(0);
}

std::vector<int32_t> idsOf(const std::vector<android::sp<ProcessRecord>>& deltas) {
  std::vector<int32_t> ids;
  for (const auto& delta : deltas) {
    ids.push_back(delta->id);
  }
  return ids;
}

using Ids = std::vector<int32_t>;

// The ids that are left of one process with this difference of its total, in ticks.
Ids idsAbove(int64_t minCpuMs, int64_t ticks) {
  ProcessMap before;
  ProcessMap after;
  put(before, 7, {.total = 100});
  put(after, 7, {.total = 100 + ticks});
  return idsOf(subtractProcesses(before, after, minCpuMs));
}

TEST(ProcessDelta, utimeIsInMilliseconds) {
  EXPECT_EQ(deltaOf({.utime = 5}, {.utime = 12})->utime, 70);
}

TEST(ProcessDelta, stimeIsInMilliseconds) {
  EXPECT_EQ(deltaOf({.stime = 5}, {.stime = 12})->stime, 70);
}

TEST(ProcessDelta, totalIsInMilliseconds) {
  EXPECT_EQ(deltaOf({.total = 5}, {.total = 12})->total, 70);
}

TEST(ProcessDelta, minFaultsAreCounted) {
  EXPECT_EQ(deltaOf({.minFaults = 5}, {.minFaults = 12})->minFaults, 7);
}

TEST(ProcessDelta, majFaultsAreCounted) {
  EXPECT_EQ(deltaOf({.majFaults = 5}, {.majFaults = 12})->majFaults, 7);
}

TEST(ProcessDelta, switchesAreCounted) {
  EXPECT_EQ(deltaOf({.switches = 5}, {.switches = 12})->switches, 7);
}

TEST(ProcessDelta, runTimeIsCutToMilliseconds) {
  EXPECT_EQ(deltaOf({.runNs = 1}, {.runNs = 2'000'000})->runNs, 1);
}

TEST(ProcessDelta, waitTimeIsCutToMilliseconds) {
  EXPECT_EQ(deltaOf({.waitNs = 1}, {.waitNs = 2'000'000})->waitNs, 1);
}

TEST(ProcessDelta, runTimeThatWentBackwardsIsCutTowardZero) {
  EXPECT_EQ(deltaOf({.runNs = 1'999'999}, {.runNs = 0})->runNs, -1);
}

TEST(ProcessDelta, nameIsThatOfTheSecondSample) {
  EXPECT_STREQ(deltaOf({.name = "before"}, {.name = "after"})->name.data(), "after");
}

TEST(ProcessDelta, nameOf39CharactersIsWhole) {
  EXPECT_EQ(deltaOf({}, {.name = std::string(39, 'k')})->name.data(), std::string(39, 'k'));
}

TEST(ProcessDelta, otherFieldsStayZero) {
  const android::sp<ProcessRecord> delta = deltaOf({}, {});
  EXPECT_TRUE(delta->ppid == 0 && delta->numThreads == 0 && delta->blkioTicks == 0);
}

TEST(ProcessDelta, reusedIdMayGiveNegativeTimes) {
  EXPECT_EQ(deltaOf({.name = "old", .total = 50}, {.name = "new", .total = 2})->total, -480);
}

TEST(ProcessDelta, countersAtTheEndsOfTheRangeWrap) {
  constexpr int64_t kMax = std::numeric_limits<int64_t>::max();
  constexpr int64_t kMin = std::numeric_limits<int64_t>::min();
  EXPECT_EQ(deltaOf({.total = kMax}, {.total = kMin})->total, 10);
}

TEST(ProcessDelta, newProcessCountsFromZero) {
  ProcessMap after;
  put(after, 7, {"new", 1, 2, 3, 4, 5, 6'000'000, 7'000'000, 8});
  const android::sp<ProcessRecord> delta = subtractProcesses({}, after, kAll).at(0);
  EXPECT_TRUE(delta->utime == 10 && delta->stime == 20 && delta->total == 30 &&
              delta->minFaults == 4 && delta->majFaults == 5 && delta->runNs == 6 &&
              delta->waitNs == 7 && delta->switches == 8);
}

TEST(ProcessDelta, endedProcessIsLeftOut) {
  ProcessMap before;
  ProcessMap after;
  put(before, 5, {.total = 10});
  put(before, 7, {.total = 10});
  put(after, 7, {.total = 11});
  EXPECT_EQ(idsOf(subtractProcesses(before, after, kAll)), Ids{7});
}

TEST(ProcessDelta, totalEqualToTheMinimumIsLeftOut) {
  EXPECT_EQ(idsAbove(50, 5), Ids{});
}

TEST(ProcessDelta, totalAboveTheMinimumIsKept) {
  EXPECT_EQ(idsAbove(59, 6), Ids{7});
}

TEST(ProcessDelta, idleProcessIsLeftOut) {
  EXPECT_EQ(idsAbove(0, 0), Ids{});
}

TEST(ProcessDelta, oneTickIsEnough) {
  EXPECT_EQ(idsAbove(0, 1), Ids{7});
}

TEST(ProcessDelta, negativeTotalIsLeftOut) {
  EXPECT_EQ(idsAbove(0, -1), Ids{});
}

TEST(ProcessDelta, negativeMinimumLetsIdleProcessesIn) {
  EXPECT_EQ(idsAbove(-1, 0), Ids{7});
}

TEST(ProcessDelta, processBehindAnIdleOneIsKept) {
  ProcessMap before;
  ProcessMap after;
  put(before, 3, {.total = 1});
  put(after, 3, {.total = 1});
  put(after, 5, {.total = 1});
  EXPECT_EQ(idsOf(subtractProcesses(before, after, 0)), Ids{5});
}

TEST(ProcessDelta, partnersAreFoundAmongProcessesThatCameAndWent) {
  ProcessMap before;
  ProcessMap after;
  for (int32_t id : {1, 3, 5, 7, 9}) {
    put(before, id, {.total = 100});
  }
  for (int32_t id : {2, 3, 6, 7, 8, 10}) {
    put(after, id, {.total = 100 + id});
  }
  // Those that stayed used as many ticks as their id says, those that came 100 more.
  std::vector<int64_t> totals;
  for (const auto& delta : subtractProcesses(before, after, kAll)) {
    totals.push_back(delta->total);
  }
  EXPECT_EQ(totals, (std::vector<int64_t>{1100, 1080, 1060, 1020, 70, 30}));
}

TEST(ProcessDelta, partnerIsFoundBehindSeveralProcessesThatEnded) {
  ProcessMap before;
  ProcessMap after;
  for (int32_t id : {1, 2, 3, 4}) {
    put(before, id, {.total = 100});
  }
  put(after, 4, {.total = 101});
  EXPECT_EQ(subtractProcesses(before, after, kAll).at(0)->total, 10);
}

TEST(ProcessDelta, busiestComesFirst) {
  ProcessMap after;
  put(after, 1, {.total = 5});
  put(after, 2, {.total = 50});
  put(after, 3, {.total = 20});
  EXPECT_EQ(idsOf(subtractProcesses({}, after, kAll)), (Ids{2, 3, 1}));
}

TEST(ProcessDelta, orderIsThatOfTheTotalAlone) {
  ProcessMap after;
  put(after, 1, {.utime = 90, .stime = 90, .total = 1});
  put(after, 2, {.utime = 1, .stime = 1, .total = 2});
  EXPECT_EQ(idsOf(subtractProcesses({}, after, kAll)), (Ids{2, 1}));
}

TEST(ProcessDelta, negativeTotalsComeLast) {
  ProcessMap before;
  ProcessMap after;
  put(before, 1, {.total = 9});
  put(after, 1, {.total = 2});
  put(after, 2, {.total = 0});
  EXPECT_EQ(idsOf(subtractProcesses(before, after, kAll)), (Ids{2, 1}));
}

TEST(ProcessDelta, equalTotalsAscendById) {
  ProcessMap after;
  Ids expected;
  for (int32_t id = 1; id <= 100; ++id) {
    put(after, id, {.total = 4});
    expected.push_back(id);
  }
  EXPECT_EQ(idsOf(subtractProcesses({}, after, kAll)), expected);
}

TEST(ProcessDelta, nothingAfterGivesNothing) {
  ProcessMap before;
  put(before, 1, {.total = 9});
  EXPECT_TRUE(subtractProcesses(before, {}, kAll).empty());
}

TEST(ProcessDelta, samplesAreNotChanged) {
  ProcessMap before;
  ProcessMap after;
  put(before, 1, {.total = 9});
  put(after, 1, {.total = 11});
  subtractProcesses(before, after, kAll);
  EXPECT_TRUE(before.at(1)->total == 9 && after.at(1)->total == 11);
}

}  // namespace
}  // namespace tarnwick
