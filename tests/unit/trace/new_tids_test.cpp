#include "trace/new_tids.h"

#include <gtest/gtest.h>

namespace tarnwick {

static bool operator==(const TidRange& left, const TidRange& right) {
  return left.first == right.first && left.last == right.last;
}

namespace {

TEST(NewTids, LastTidIsTheLastField) {
  EXPECT_EQ(parseLastTid("0.17 0.79 2.88 2/80 26919\n"), 26919);
  EXPECT_EQ(parseLastTid("12.03 11.79 9.88 14/3280 1\n"), 1);
  EXPECT_EQ(parseLastTid("0.00 0.00 0.00 1/57 4194303"), 4194303);
}

TEST(NewTids, TextWithoutLastTid) {
  for (const std::string_view text :
       {"", " ", "26919", "0.17 0.79 2.88 2/80 \n", "0.17 0.79 2.88 2/80 0\n", "2/80 -1\n",
        "2/80 12x\n", "2/80 4194305\n", "2/80 99999999999\n"}) {
    EXPECT_EQ(parseLastTid(text), std::nullopt) << text;
  }
}

TEST(NewTids, TidsBetweenTwoLooks) {
  EXPECT_EQ(tidsSince(100, 103, 64), (TidRange{101, 103}));
  EXPECT_EQ(tidsSince(100, 101, 64), (TidRange{101, 101}));
}

TEST(NewTids, NoneWhenTheLastIsTheSame) {
  const TidRange range = tidsSince(100, 100, 64);
  EXPECT_GT(range.first, range.last);
}

TEST(NewTids, NewestOfManyTids) {
  EXPECT_EQ(tidsSince(100, 1000, 64), (TidRange{937, 1000}));
}

TEST(NewTids, NumbersBeginAgain) {
  EXPECT_EQ(tidsSince(32767, 310, 64), (TidRange{247, 310}));
  EXPECT_EQ(tidsSince(32767, 3, 64), (TidRange{1, 3}));
}

}  // namespace
}  // namespace tarnwick
