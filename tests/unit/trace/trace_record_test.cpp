#include "trace/trace_record.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace tarnwick {
namespace {

// More than a list keeps together, several times over, and no multiple of it.
constexpr int32_t kManyRecords = 50001;

// A record of no event that could be mistaken for another number's.
TraceRecord recordNumber(int32_t number) {
  TraceRecord record;
  record.time = number + 0.5;
  record.duration = (static_cast<uint32_t>(number) + 1) & 0xfffff;
  record.kind = TraceRecordKind::kRuntime;
  record.cpu = number + 2;
  record.tid = number + 4;
  record.name = static_cast<NameTable::Id>(number) + 6;
  return record;
}

bool same(const TraceRecord& a, const TraceRecord& b) {
  return a.time == b.time && a.duration == b.duration && a.kind == b.kind && a.cpu == b.cpu &&
         a.tid == b.tid && a.name == b.name;
}

void appendRecords(TraceRecordList& list, int32_t first, int32_t end) {
  for (int32_t i = first; i < end; ++i) {
    list.append(recordNumber(i));
  }
}

std::vector<int32_t> cpusOf(const TraceRecordList& list) {
  std::vector<int32_t> cpus;
  list.forEach([&cpus](const TraceRecord& record) { cpus.push_back(record.cpu); });
  return cpus;
}

std::vector<const TraceRecord*> addressesOf(const TraceRecordList& list) {
  std::vector<const TraceRecord*> addresses;
  list.forEach([&addresses](const TraceRecord& record) { addresses.push_back(&record); });
  return addresses;
}

TEST(TraceRecord, holdsTheLongestDuration) {
  TraceRecord record;
  record.duration = static_cast<uint32_t>(TraceRecord::kLongestDuration);
  EXPECT_EQ(record.duration, 300000000U);
}

TEST(TraceRecord, durationLeavesTheKindAlone) {
  TraceRecord record;
  record.kind = TraceRecordKind::kKpi;
  record.duration = static_cast<uint32_t>(TraceRecord::kLongestDuration);
  EXPECT_EQ(record.kind, TraceRecordKind::kKpi);
}

TEST(TraceRecordList, startsEmpty) {
  EXPECT_TRUE(TraceRecordList().empty());
}

TEST(TraceRecordList, startsWithSize0) {
  EXPECT_EQ(TraceRecordList().size(), 0U);
}

TEST(TraceRecordList, visitsNothingWhenEmpty) {
  EXPECT_EQ(cpusOf(TraceRecordList()), std::vector<int32_t>{});
}

TEST(TraceRecordList, isNotEmptyWithARecord) {
  TraceRecordList list;
  list.append(TraceRecord());
  EXPECT_FALSE(list.empty());
}

TEST(TraceRecordList, sizeCountsRecords) {
  TraceRecordList list;
  appendRecords(list, 0, kManyRecords);
  EXPECT_EQ(list.size(), static_cast<size_t>(kManyRecords));
}

TEST(TraceRecordList, visitsRecordsInTheOrderOfAppending) {
  TraceRecordList list;
  appendRecords(list, 0, kManyRecords);
  int32_t next = 0;
  list.forEach([&next](const TraceRecord& record) { ASSERT_EQ(record.cpu, 2 + next++); });
}

TEST(TraceRecordList, visitsEveryRecord) {
  TraceRecordList list;
  appendRecords(list, 0, kManyRecords);
  EXPECT_EQ(cpusOf(list).size(), static_cast<size_t>(kManyRecords));
}

TEST(TraceRecordList, recordsComeBackWhole) {
  TraceRecordList list;
  appendRecords(list, 0, kManyRecords);
  int32_t next = 0;
  list.forEach(
      [&next](const TraceRecord& record) { ASSERT_TRUE(same(record, recordNumber(next++))); });
}

TEST(TraceRecordList, keepsACopy) {
  TraceRecordList list;
  TraceRecord record = recordNumber(1);
  list.append(record);
  record.cpu = 99;
  EXPECT_EQ(cpusOf(list), std::vector<int32_t>{3});
}

TEST(TraceRecordList, recordsDoNotMoveWhileItGrows) {
  TraceRecordList list;
  std::vector<const TraceRecord*> appended;
  for (int32_t i = 0; i < kManyRecords; i += 1000) {
    appendRecords(list, i, std::min(i + 1000, kManyRecords));
    const std::vector<const TraceRecord*> now = addressesOf(list);
    ASSERT_TRUE(std::equal(appended.begin(), appended.end(), now.begin()));
    appended = now;
  }
}

TEST(TraceRecordList, clearEmptiesIt) {
  TraceRecordList list;
  appendRecords(list, 0, kManyRecords);
  list.clear();
  EXPECT_TRUE(list.empty());
}

TEST(TraceRecordList, visitsNothingAfterClear) {
  TraceRecordList list;
  appendRecords(list, 0, kManyRecords);
  list.clear();
  EXPECT_EQ(cpusOf(list), std::vector<int32_t>{});
}

TEST(TraceRecordList, startsAnewAfterClear) {
  TraceRecordList list;
  appendRecords(list, 0, kManyRecords);
  list.clear();
  appendRecords(list, 7, 9);
  EXPECT_EQ(cpusOf(list), (std::vector<int32_t>{9, 10}));
}

TEST(TraceRecordList, growsAnewAfterClear) {
  TraceRecordList list;
  appendRecords(list, 0, 3);
  list.clear();
  appendRecords(list, 0, kManyRecords);
  int32_t next = 0;
  list.forEach([&next](const TraceRecord& record) { ASSERT_EQ(record.cpu, 2 + next++); });
}

TEST(TraceRecordList, IsFullAtItsLimit) {
  TraceRecordList list;
  list.setLimit(3 * sizeof(TraceRecord) + sizeof(TraceRecord) - 1);
  appendRecords(list, 0, 3);
  EXPECT_FALSE(list.append(recordNumber(3)));
  EXPECT_EQ(cpusOf(list), (std::vector<int32_t>{2, 3, 4}));
}

TEST(TraceRecordList, LimitMayBeAnyNumberOfChunks) {
  for (const size_t records : {size_t{8191}, size_t{8192}, size_t{8193}, size_t{20000}}) {
    TraceRecordList list;
    list.setLimit(records * sizeof(TraceRecord));
    size_t appended = 0;
    while (list.append(TraceRecord()) && appended <= records) {
      ++appended;
    }
    EXPECT_EQ(appended, records);
    EXPECT_EQ(list.size(), records);
  }
}

TEST(TraceRecordList, LimitOfNothingTakesNothing) {
  TraceRecordList list;
  list.setLimit(0);
  EXPECT_FALSE(list.append(TraceRecord()));
  EXPECT_TRUE(list.empty());
}

TEST(TraceRecordList, LimitStaysAfterClear) {
  TraceRecordList list;
  list.setLimit(sizeof(TraceRecord));
  appendRecords(list, 0, 1);
  list.clear();
  EXPECT_TRUE(list.append(recordNumber(7)));
  EXPECT_FALSE(list.append(recordNumber(8)));
  EXPECT_EQ(cpusOf(list), std::vector<int32_t>{9});
}

}  // namespace
}  // namespace tarnwick
