#include "trace/drain_pace.h"

#include <gtest/gtest.h>

namespace tarnwick {
namespace {

TEST(DrainPace, RestIsShortAfterNewThread) {
  DrainPace pace;
  for (uint32_t i = 0; i < 100; ++i) {
    pace.startDrain();
    pace.rest();
  }
  EXPECT_EQ(pace.rest(), DrainPace::kLongRest);
  pace.startDrain();
  pace.metNewThread();
  for (uint32_t i = 0; i < DrainPace::kShortDrains; ++i) {
    EXPECT_EQ(pace.rest(), DrainPace::kShortRest);
    pace.startDrain();
  }
  EXPECT_EQ(pace.rest(), 2 * DrainPace::kShortRest);
}

TEST(DrainPace, ShortRestIsAtMostOneMillisecond) {
  EXPECT_LE(DrainPace::kShortRest, std::chrono::milliseconds(1));
  EXPECT_EQ(DrainPace::kLongRest, std::chrono::milliseconds(15));
}

TEST(DrainPace, RestGrowsUpToTheLongOne) {
  DrainPace pace;
  DrainPace::Rest before{0};
  for (uint32_t i = 0; i < 100; ++i) {
    pace.startDrain();
    const DrainPace::Rest rest = pace.rest();
    EXPECT_GE(rest, before);
    EXPECT_LE(rest, DrainPace::kLongRest);
    before = rest;
  }
  EXPECT_EQ(before, DrainPace::kLongRest);
}

}  // namespace
}  // namespace tarnwick
