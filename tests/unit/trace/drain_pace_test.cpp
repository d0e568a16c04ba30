#include "trace/drain_pace.h"

#include <gtest/gtest.h>

namespace tarnwick {
namespace {

TEST(DrainPace, RestIsShortAfterNewThread) {
  for (const DrainPace::Rest shortRest : {DrainPace::kShortRest, DrainPace::kShortRestWithForks}) {
    DrainPace pace;
    pace.setShortRest(shortRest);
    for (uint32_t i = 0; i < 100; ++i) {
      pace.startDrain();
      pace.rest();
    }
    EXPECT_EQ(pace.rest(), DrainPace::kLongRest);
    pace.startDrain();
    pace.metNewThread();
    for (DrainPace::Rest time{0}; time < DrainPace::kShortRestsAfterNewThread; time += shortRest) {
      EXPECT_EQ(pace.rest(), shortRest);
      pace.startDrain();
    }
    EXPECT_EQ(pace.rest(), 2 * shortRest);
  }
}

TEST(DrainPace, ShortRestIsAtMostOneMillisecond) {
  EXPECT_EQ(DrainPace().rest(), DrainPace::kShortRest);
  EXPECT_LT(DrainPace::kShortRest, DrainPace::kShortRestWithForks);
  EXPECT_LE(DrainPace::kShortRestWithForks, std::chrono::milliseconds(1));
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
