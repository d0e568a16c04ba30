// What a list of records and a map of paths take from the heap. The linker leads every allocation
// of this program and of the library through the functions below.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "trace/inode_paths.h"
#include "trace/trace_record.h"

namespace {

size_t gBytesTaken = 0;  // what was freed since then included
int64_t gBlocks = 0;     // that are not freed

}  // namespace

// The names are the linker's: operator new and new[], delete and delete[], without and with a size.
// NOLINTBEGIN(readability-identifier-naming)
extern "C" {

void* __real__Znwm(size_t size);
void* __real__Znam(size_t size);
void __real__ZdlPv(void* block);
void __real__ZdaPv(void* block);

void* __wrap__Znwm(size_t size) {
  gBytesTaken += size;
  ++gBlocks;
  return __real__Znwm(size);
}

void* __wrap__Znam(size_t size) {
  gBytesTaken += size;
  ++gBlocks;
  return __real__Znam(size);
}

void __wrap__ZdlPv(void* block) {
  gBlocks -= block == nullptr ? 0 : 1;
  __real__ZdlPv(block);
}

void __wrap__ZdaPv(void* block) {
  gBlocks -= block == nullptr ? 0 : 1;
  __real__ZdaPv(block);
}

void __wrap__ZdlPvm(void* block, size_t) {
  __wrap__ZdlPv(block);
}

void __wrap__ZdaPvm(void* block, size_t) {
  __wrap__ZdaPv(block);
}

}  // extern "C"
// NOLINTEND(readability-identifier-naming)

namespace tarnwick {
namespace {

constexpr size_t kRecords = 1000000;

void appendRecords(TraceRecordList& list, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    list.append(TraceRecord());
  }
}

// What the list takes at once for the records to come.
size_t bytesForOneRecord() {
  TraceRecordList list;
  const size_t before = gBytesTaken;
  list.append(TraceRecord());
  return gBytesTaken - before;
}

TEST(TraceRecordMemory, aMillionRecordsTakeAtMost32BytesEach) {
  TraceRecordList list;
  const size_t before = gBytesTaken;
  appendRecords(list, kRecords);
  EXPECT_LE(gBytesTaken - before, kRecords * 32);
}

TEST(TraceRecordMemory, everyRecordIsCounted) {
  TraceRecordList list;
  const size_t before = gBytesTaken;
  appendRecords(list, kRecords);
  EXPECT_GE(gBytesTaken - before, kRecords * sizeof(TraceRecord));
}

TEST(TraceRecordMemory, aChunkIsSmall) {
  EXPECT_LE(bytesForOneRecord(), 300000U);
}

TEST(TraceRecordMemory, aMillionRecordsStayWhereTheyAre) {
  TraceRecordList list;
  std::vector<const TraceRecord*> appended;
  for (size_t i = 0; i < kRecords; ++i) {
    list.append(TraceRecord());
    if (i % 100000 == 0) {
      const TraceRecord* last = nullptr;
      list.forEach([&last](const TraceRecord& record) { last = &record; });
      appended.push_back(last);
    }
  }
  std::vector<const TraceRecord*> now;
  size_t next = 0;
  list.forEach([&](const TraceRecord& record) {
    if (next++ % 100000 == 0) {
      now.push_back(&record);
    }
  });
  EXPECT_EQ(now, appended);
}

TEST(TraceRecordMemory, FullListTakesNoMoreThanItsLimit) {
  for (const size_t records : {size_t{10}, size_t{8191}, size_t{100000}}) {
    TraceRecordList list;
    list.setLimit(records * sizeof(TraceRecord));
    const size_t before = gBytesTaken;
    while (list.append(TraceRecord())) {
    }
    // The list of chunks itself: 24 bytes each, and its smaller forerunners.
    EXPECT_LE(gBytesTaken - before, records * sizeof(TraceRecord) + 2048);
  }
}

TEST(TraceRecordMemory, clearFreesEverything) {
  TraceRecordList list;
  const int64_t before = gBlocks;
  appendRecords(list, kRecords);
  const int64_t full = gBlocks;
  list.clear();
  EXPECT_GT(full, before);
  EXPECT_EQ(gBlocks, before);
}

TEST(TraceRecordMemory, theEndOfTheListFreesEverything) {
  const int64_t before = gBlocks;
  {
    TraceRecordList list;
    appendRecords(list, kRecords);
  }
  EXPECT_EQ(gBlocks, before);
}

// As many as fit into two thirds of a table of a power of two.
constexpr size_t kPaths = (size_t{1} << 18) * 2 / 3;

std::string cacheOf(size_t count) {
  std::string text;
  for (size_t i = 0; i < count; ++i) {
    text += "8:1_" + std::to_string(i) + " /data/app/" + std::to_string(i) + "/base.apk\n";
  }
  return text;
}

// What merging takes, the table's smaller forerunners included.
size_t bytesForMerging(InodePaths& paths, std::string_view text) {
  const size_t before = gBytesTaken;
  paths.merge([&text](char* buffer, size_t size) {
    const size_t length = text.copy(buffer, size);
    text.remove_prefix(length);
    return length;
  });
  return gBytesTaken - before;
}

TEST(InodePathMemory, anEntryTakesItsTextAndItsShareOfTheTable) {
  // A line's blank and newline stand for the ends of its key and its path.
  const std::string text = cacheOf(kPaths);
  InodePaths first;
  const size_t chunk = bytesForMerging(first, cacheOf(1));
  InodePaths paths;
  const size_t taken = bytesForMerging(paths, text);
  ASSERT_EQ(paths.size(), kPaths);
  // One and a half slots of 8 bytes, as many again in the smaller tables, and the ends of the
  // chunks.
  EXPECT_LE(taken, text.size() + kPaths * 24 + chunk + chunk / 20);
  EXPECT_GE(taken, text.size() + kPaths * 12);
}

TEST(InodePathMemory, aChunkIsSmall) {
  InodePaths paths;
  EXPECT_LE(bytesForMerging(paths, cacheOf(1)), 2000000U);
}

TEST(InodePathMemory, theEndOfTheMapFreesEverything) {
  const std::string text = cacheOf(kPaths);
  const int64_t before = gBlocks;
  {
    InodePaths paths;
    bytesForMerging(paths, text);
    EXPECT_GT(gBlocks, before);
  }
  EXPECT_EQ(gBlocks, before);
}

}  // namespace
}  // namespace tarnwick
