#include "trace/fork_records.h"

#include <gtest/gtest.h>
#include <linux/perf_event.h>

#include <string>

#include "tests/unit/support/ring_bytes.h"

namespace tarnwick {
namespace {

// A record of this kind, with its header.
std::string perfRecord(uint32_t type, const std::string& body) {
  const perf_event_header header{type, 0, static_cast<uint16_t>(sizeof header + body.size())};
  return bytesOf(header) + body;
}

std::string forkRecord(int32_t tgid, int32_t tid) {
  constexpr int32_t kParent = 7;
  constexpr uint64_t kTime = 35993756123;
  return perfRecord(PERF_RECORD_FORK, bytesOf(tgid) + bytesOf(kParent) + bytesOf(tid) +
                                          bytesOf(kParent) + bytesOf(kTime));
}

// "TGID:TID ..."
std::string forksOf(const std::string& records) {
  std::string text;
  for (const ForkRecord& fork : parseForkRecords(records)) {
    text += std::to_string(fork.tgid) + ":" + std::to_string(fork.tid) + " ";
  }
  return text;
}

TEST(ForkRecords, ProcessesAndThreads) {
  EXPECT_EQ(forksOf(forkRecord(4711, 4711) + forkRecord(4711, 4712) + forkRecord(4713, 4713)),
            "4711:4711 4711:4712 4713:4713 ");
  EXPECT_EQ(forksOf(""), "");
}

TEST(ForkRecords, OtherRecordsAreSkipped) {
  const std::string body = bytesOf(int32_t{4711}) + bytesOf(int32_t{7}) + bytesOf(int32_t{4711}) +
                           bytesOf(int32_t{7}) + bytesOf(uint64_t{1});
  EXPECT_EQ(forksOf(perfRecord(PERF_RECORD_EXIT, body) + forkRecord(1, 2) +
                    perfRecord(PERF_RECORD_LOST, "") +
                    perfRecord(PERF_RECORD_COMM, std::string(16, 'x')) + forkRecord(1, 3)),
            "1:2 1:3 ");
}

TEST(ForkRecords, ShortForkRecordIsSkipped) {
  EXPECT_EQ(forksOf(perfRecord(PERF_RECORD_FORK, std::string(8, '\1')) + forkRecord(1, 2)), "1:2 ");
}

TEST(ForkRecords, RecordThatIsCutOffEndsThem) {
  const std::string records = forkRecord(1, 2) + forkRecord(1, 3);
  EXPECT_EQ(forksOf(records.substr(0, records.size() - 1)), "1:2 ");
  EXPECT_EQ(forksOf(records.substr(0, records.size() / 2 + 3)), "1:2 ");
}

TEST(ForkRecords, SizeThatIsNoneEndsThem) {
  const std::string none = bytesOf(perf_event_header{PERF_RECORD_FORK, 0, 0});
  EXPECT_EQ(forksOf(forkRecord(1, 2) + none + forkRecord(1, 3)), "1:2 ");
}

}  // namespace
}  // namespace tarnwick
