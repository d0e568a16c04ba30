#include "trace/ring_merge.h"

#include <gtest/gtest.h>

#include <vector>

namespace tarnwick {
namespace {

struct MergedEvent {
  uint64_t time;
  int id;
};

class RingMergeTest : public testing::Test {
 protected:
  std::vector<int> endPass() {
    std::vector<int> ids;
    merge_.endPass([&ids](const MergedEvent& event) { ids.push_back(event.id); });
    return ids;
  }
  std::vector<int> finish() {
    std::vector<int> ids;
    merge_.finish([&ids](const MergedEvent& event) { ids.push_back(event.id); });
    return ids;
  }

  RingMerge<MergedEvent> merge_{3};
};

using Ids = std::vector<int>;

TEST_F(RingMergeTest, EventsOfAllCpusComeByTime) {
  merge_.add(2, {10, 1});
  merge_.add(2, {40, 4});
  merge_.add(0, {20, 2});
  merge_.add(0, {50, 5});
  merge_.add(1, {30, 3});
  EXPECT_EQ(finish(), (Ids{1, 2, 3, 4, 5}));
  EXPECT_EQ(finish(), (Ids{}));
}

TEST_F(RingMergeTest, EventsOfOneTimeComeByCpu) {
  merge_.add(2, {10, 3});
  merge_.add(0, {10, 1});
  merge_.add(1, {10, 2});
  EXPECT_EQ(finish(), (Ids{1, 2, 3}));
}

TEST_F(RingMergeTest, EventsWaitForThoseThatCanStillBeOlder) {
  merge_.add(0, {10, 1});
  merge_.add(0, {30, 4});
  EXPECT_EQ(endPass(), (Ids{}));
  // Came on another CPU while the pass before was still under way.
  merge_.add(1, {20, 2});
  merge_.add(1, {25, 3});
  merge_.add(1, {40, 5});
  EXPECT_EQ(endPass(), (Ids{1, 2, 3, 4}));
  EXPECT_EQ(endPass(), (Ids{5}));
}

TEST_F(RingMergeTest, EventsWaitForCpuThatWasNotReadToTheEnd) {
  merge_.add(0, {10, 1});
  merge_.add(1, {100, 4});
  merge_.leaveUnread(0);
  EXPECT_EQ(endPass(), (Ids{}));
  merge_.add(0, {20, 2});
  merge_.leaveUnread(0);
  EXPECT_EQ(endPass(), (Ids{1, 2}));
  merge_.add(0, {30, 3});
  EXPECT_EQ(endPass(), (Ids{3, 4}));
}

TEST_F(RingMergeTest, EventsWaitForCpuWhoseEventsWereNotAdded) {
  merge_.add(1, {100, 2});
  merge_.reach(0, 10);
  merge_.leaveUnread(0);
  EXPECT_EQ(endPass(), (Ids{}));
  merge_.reach(0, 20);
  merge_.leaveUnread(0);
  EXPECT_EQ(endPass(), (Ids{}));
  merge_.add(0, {50, 1});
  EXPECT_EQ(endPass(), (Ids{1, 2}));
}

TEST_F(RingMergeTest, ClockThatWasSetBackHoldsNothingForGood) {
  merge_.add(0, {1000, 1});
  EXPECT_EQ(endPass(), (Ids{}));
  merge_.add(0, {10, 2});
  endPass();
  EXPECT_EQ(endPass(), (Ids{}));
  EXPECT_EQ(finish(), (Ids{}));
}

}  // namespace
}  // namespace tarnwick
