#include "trace/ring_page.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "tests/unit/support/ring_bytes.h"

namespace tarnwick {
namespace {

constexpr RingPageLayout kLayout{8, 16, 4080};

using Words = std::vector<uint32_t>;
using PageEvent = std::pair<uint64_t, std::string>;

uint32_t head(uint32_t type, uint32_t delta) {
  return type | delta << 5U;
}

// A page with these words as its data, and this behind them.
std::string page(uint64_t time, const Words& words, uint64_t flags = 0, const Words& behind = {}) {
  std::string bytes = bytesOf(time) + bytesOf(words.size() * 4 | flags);
  for (const uint32_t word : words) {
    bytes += bytesOf(word);
  }
  for (const uint32_t word : behind) {
    bytes += bytesOf(word);
  }
  bytes.resize(kLayout.pageSize());
  return bytes;
}

// The times and first bytes of the records. An event of time 0 with "bad" stands for a page that
// makes no sense from there on.
std::vector<PageEvent> eventsOf(const std::string& bytes) {
  std::vector<PageEvent> events;
  const auto opened = RingPage::open(bytes, kLayout);
  const bool whole = opened && opened->forEach([&](uint64_t time, std::string_view record) {
    events.emplace_back(time, record.substr(0, 4));
  });
  if (!whole) {
    events.emplace_back(0, "bad");
  }
  return events;
}

constexpr uint32_t kA = 0x61616161;
constexpr uint32_t kB = 0x62626262;

TEST(RingPage, LayoutIsThatOfHeaderPage) {
  const auto layout = parseRingPageLayout(
      "\tfield: u64 timestamp;\toffset:0;\tsize:8;\tsigned:0;\n"
      "\tfield: local_t commit;\toffset:8;\tsize:8;\tsigned:1;\n"
      "\tfield: int overwrite;\toffset:8;\tsize:1;\tsigned:1;\n"
      "\tfield: char data;\toffset:16;\tsize:8176;\tsigned:1;\n");
  ASSERT_TRUE(layout);
  EXPECT_EQ(layout->commitSize, 8U);
  EXPECT_EQ(layout->pageSize(), 8192U);
  EXPECT_FALSE(parseRingPageLayout(""));
  EXPECT_FALSE(parseRingPageLayout("\tfield: u64 timestamp;\toffset:0;\tsize:8;\tsigned:0;\n"));
}

TEST(RingPage, TimesAddUp) {
  EXPECT_EQ(eventsOf(page(1000, {head(1, 5), kA, head(2, 6), kB, kB})),
            (std::vector<PageEvent>{{1005, "aaaa"}, {1011, "bbbb"}}));
}

TEST(RingPage, LengthOfLongRecordIsInTheNextWord) {
  EXPECT_EQ(eventsOf(page(1000, {head(0, 5), 12, kA, kA, head(1, 1), kB})),
            (std::vector<PageEvent>{{1005, "aaaa"}, {1006, "bbbb"}}));
}

TEST(RingPage, TimeExtendIsAddedToTheNextEvent) {
  EXPECT_EQ(eventsOf(page(1000, {head(30, 3), 2, head(1, 5), kA})),
            (std::vector<PageEvent>{{1008 + (uint64_t{2} << 27U), "aaaa"}}));
}

TEST(RingPage, AbsoluteStampKeepsTheUpperBitsOfThePage) {
  const uint64_t upper = uint64_t{5} << 59U;
  EXPECT_EQ(eventsOf(page(upper | 1000, {head(31, 3), 2, head(1, 5), kA})),
            (std::vector<PageEvent>{{upper + 8 + (uint64_t{2} << 27U), "aaaa"}}));
  EXPECT_EQ(eventsOf(page(1000, {head(31, 3), 2, head(1, 5), kA})),
            (std::vector<PageEvent>{{8 + (uint64_t{2} << 27U), "aaaa"}}));
  // The lower 59 bits have wrapped.
  EXPECT_EQ(eventsOf(page(upper | ((uint64_t{1} << 59U) - 1), {head(31, 3), 0, head(1, 5), kA})),
            (std::vector<PageEvent>{{upper + (uint64_t{1} << 59U) + 8, "aaaa"}}));
}

TEST(RingPage, PaddingIsSkippedWithItsTime) {
  EXPECT_EQ(eventsOf(page(1000, {head(29, 9), 8, kA, head(1, 2), kB})),
            (std::vector<PageEvent>{{1002, "bbbb"}}));
}

TEST(RingPage, EmptyPaddingEndsThePage) {
  EXPECT_EQ(eventsOf(page(1000, {head(1, 1), kA, head(29, 0), 0, 77})),
            (std::vector<PageEvent>{{1001, "aaaa"}}));
}

TEST(RingPage, MissedEventsAreThoseBeforeThePage) {
  constexpr uint64_t kMissed = uint64_t{1} << 31U;
  constexpr uint64_t kStored = uint64_t{1} << 30U;
  const std::string counted = page(1000, {head(1, 1), kA}, kMissed | kStored, {77, 0});
  EXPECT_TRUE(RingPage::open(counted, kLayout)->missedEvents());
  EXPECT_EQ(RingPage::open(counted, kLayout)->missedCount(), 77U);
  EXPECT_EQ(eventsOf(counted), (std::vector<PageEvent>{{1001, "aaaa"}}));
  const std::string unknown = page(1000, {head(1, 1), kA}, kMissed, {77, 0});
  EXPECT_TRUE(RingPage::open(unknown, kLayout)->missedEvents());
  EXPECT_EQ(RingPage::open(unknown, kLayout)->missedCount(), 0U);
  const std::string none = page(1000, {head(1, 1), kA});
  EXPECT_FALSE(RingPage::open(none, kLayout)->missedEvents());
}

TEST(RingPage, CommitWordOf32Bits) {
  constexpr RingPageLayout kSmall{4, 12, 52};
  std::string bytes = bytesOf(uint64_t{1000}) + bytesOf(uint32_t{8} | 3U << 30U) +
                      bytesOf(head(1, 1)) + bytesOf(kA) + bytesOf(uint32_t{9});
  bytes.resize(kSmall.pageSize());
  const auto opened = RingPage::open(bytes, kSmall);
  ASSERT_TRUE(opened);
  EXPECT_EQ(opened->missedCount(), 9U);
}

TEST(RingPage, LengthThatMakesNoSenseEndsThePage) {
  const PageEvent bad{0, "bad"};
  const PageEvent good{1001, "aaaa"};
  for (const Words& words : std::vector<Words>{
           {head(1, 1), kA, head(2, 1), kB},      // longer than the data
           {head(1, 1), kA, head(0, 1), 0, kB},   // shorter than its own length
           {head(1, 1), kA, head(0, 1), 6, kB},   // no whole words
           {head(1, 1), kA, head(0, 1), 12, kB},  // longer than the data
           {head(1, 1), kA, head(29, 1), 0xFFFFFFF0, kB},
           {head(1, 1), kA, head(30, 1)},
       }) {
    EXPECT_EQ(eventsOf(page(1000, words)), (std::vector<PageEvent>{good, bad}));
  }
}

TEST(RingPage, DataBeyondTheBytesIsNoPage) {
  std::string bytes = page(1000, {head(1, 1), kA});
  EXPECT_FALSE(RingPage::open(bytes.substr(0, 15), kLayout));
  EXPECT_FALSE(RingPage::open(bytes.substr(0, 23), kLayout));
  EXPECT_TRUE(RingPage::open(bytes.substr(0, 24), kLayout));
  bytes.replace(8, 8, bytesOf(uint64_t{4084}));
  EXPECT_FALSE(RingPage::open(bytes, kLayout));
  // The count of what was missed stands behind the data.
  bytes.replace(8, 8, bytesOf(uint64_t{4080} | 3U << 30U));
  EXPECT_FALSE(RingPage::open(bytes, kLayout));
}

}  // namespace
}  // namespace tarnwick
