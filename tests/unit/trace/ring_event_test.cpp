#include "trace/ring_event.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/unit/support/fixture.h"
#include "tests/unit/support/ring_bytes.h"
#include "tests/unit/support/ring_capture.h"

namespace tarnwick {
namespace {

constexpr SchedEventFormat kWait{
    7, SchedEventKind::kWait, {8, 16, false}, {24, 4, false}, {32, 8, false}, 40};

std::string waitRecord(std::string comm, int32_t tid, uint64_t delay) {
  comm.resize(16);
  return bytesOf(uint64_t{7}) + comm + bytesOf(tid) + bytesOf(uint32_t{0}) + bytesOf(delay);
}

// What the record gives, and what its line in trace_pipe does.
void expectAsTheLine(const std::string& comm, uint64_t delay, uint64_t nanoseconds) {
  SchedEventText text;
  const std::string record = waitRecord(comm, 123, delay);
  const auto event = readSchedEvent(record, kWait, 3, nanoseconds, text);
  const uint64_t micros = (nanoseconds + 500) / 1000;
  char head[100];
  snprintf(head, sizeof head, "%5lu.%06lu", micros / 1000000, micros % 1000000);
  const std::string lines = "             cat-9 [003] d..1. " + std::string(head) +
                            ": sched_stat_wait: comm=" + comm.substr(0, comm.find('\0')) +
                            " pid=123 delay=" + std::to_string(delay) + " [ns]\n";
  std::optional<SchedEvent> expected;
  std::string name;
  LineSplitter().feed(lines, [&](std::string_view line) {
    if (const auto found = parseSchedEvent(line); found && !expected) {
      expected = found;
      name = found->comm;
    }
  });
  ASSERT_EQ(event.has_value(), expected.has_value()) << comm;
  if (event) {
    EXPECT_EQ(event->kind, expected->kind);
    EXPECT_EQ(event->time, expected->time);
    EXPECT_EQ(event->value, expected->value);
    EXPECT_EQ(event->cpu, expected->cpu);
    EXPECT_EQ(event->tid, expected->tid) << comm;
    EXPECT_EQ(event->comm, name) << comm;
  }
}

TEST(RingEvent, OddNamesGiveWhatTheirLinesGive) {
  for (const char* comm : {"",
                           " ",
                           "cat",
                           "com.example.lon",
                           "x [1",
                           "a=b",
                           "pid=1",
                           " pid=1",
                           "comm=x",
                           "a\nb",
                           "\n",
                           "=",
                           "end ",
                           "pid=1 delay=5",
                           " pid=1 delay=5",
                           " pid=1 delay=5\n",
                           "sched_stat_r",
                           "\xff\xfe",
                           "[001]",
                           "a pid=9 delay=",
                           "x pid=99"}) {
    expectAsTheLine(comm, 1000, 35993756123);
  }
}

TEST(RingEvent, NumbersAreAsTheirLinesGiveThem) {
  for (const uint64_t delay : {uint64_t{0}, uint64_t{300000000}, uint64_t{1} << 63U,
                               (uint64_t{1} << 63U) - 1, ~uint64_t{0}}) {
    expectAsTheLine("cat", delay, 35993756123);
    expectAsTheLine("a=b", delay, 35993756123);
  }
}

TEST(RingEvent, TimeIsRoundedToMicroseconds) {
  EXPECT_EQ(ringSeconds(35993756499), 35.993756);
  EXPECT_EQ(ringSeconds(35993756500), 35.993757);
  EXPECT_EQ(ringSeconds(999999999), 1.0);
  for (const uint64_t time : {uint64_t{0}, uint64_t{499}, uint64_t{500}, uint64_t{1234567890123500},
                              uint64_t{86400} * 365 * 1000000000}) {
    expectAsTheLine("cat", 1, time);
  }
}

TEST(RingEvent, NameOfAnyLengthIsWhereItsPlaceSays) {
  SchedEventFormat format = kWait;
  format.comm = {8, 4, true};
  std::string record = waitRecord("", 123, 1000);
  SchedEventText text;
  record.replace(8, 4, bytesOf(uint32_t{40} | 5U << 16U));
  EXPECT_FALSE(readSchedEvent(record, format, 0, 0, text));  // beyond the record
  record += std::string("name\0more", 9);
  EXPECT_EQ(readSchedEvent(record, format, 0, 0, text)->comm, "name");
  record.replace(8, 4, bytesOf(uint32_t{40} | 3U << 16U));
  EXPECT_EQ(readSchedEvent(record, format, 0, 0, text)->comm, "nam");
  record.replace(8, 4, bytesOf(uint32_t{40} | 10U << 16U));
  EXPECT_FALSE(readSchedEvent(record, format, 0, 0, text));
  record.replace(8, 4, bytesOf(uint32_t{40} | 200U << 16U));
  record.resize(240, 'x');
  record.replace(40, 200, std::string(200, 'x'));
  EXPECT_EQ(readSchedEvent(record, format, 0, 0, text)->comm, std::string(79, 'x'));
}

TEST(RingEvent, ShortRecordHasNoEvent) {
  SchedEventText text;
  const std::string record = waitRecord("cat", 123, 1000);
  EXPECT_TRUE(readSchedEvent(record, kWait, 0, 0, text));
  EXPECT_FALSE(readSchedEvent(record.substr(0, 39), kWait, 0, 0, text));
  EXPECT_FALSE(ringEventId("x"));
  EXPECT_EQ(ringEventId(record), 7);
  EXPECT_FALSE(readPageCacheEvent("", {7, true, {8, 4, false}, {16, 8, false}, 24}));
}

TEST(RingEvent, FileHasTheNumbersOfItsLine) {
  const PageCacheEventFormat format{7, false, {8, 4, false}, {12, 4, false}, 16};
  // A minor number of more than 16 bits: %hu keeps the lower ones.
  const std::string record =
      bytesOf(uint64_t{7}) + bytesOf(uint32_t{179} << 20U | 0x12345U) + bytesOf(uint32_t{99});
  const auto event = readPageCacheEvent(record, format);
  ASSERT_TRUE(event);
  EXPECT_FALSE(event->added);
  EXPECT_EQ(event->file, (PageCacheFile{179, 0x2345, 99}));
}

// The captures of all kernels: what the pages hold is what the kernel's own text says.
class RingCaptures : public testing::TestWithParam<const char*> {};

TEST_P(RingCaptures, PagesHoldWhatTheTextSays) {
  const RingCapture capture(std::string(TARNWICK_FIXTURES "/ring/") + GetParam());
  const auto text = capture.fromText();
  const auto pages = capture.fromPages();
  ASSERT_TRUE(pages);
  EXPECT_GT(text.size(), 100U);
  EXPECT_EQ(*pages, text);
}

INSTANTIATE_TEST_SUITE_P(Kernels, RingCaptures,
                         testing::Values("linux-5.10-arm64", "linux-6.1-arm64", "linux-6.12-arm64",
                                         "linux-6.18-x86_64"));

}  // namespace
}  // namespace tarnwick
