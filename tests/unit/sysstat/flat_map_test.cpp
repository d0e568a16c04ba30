#include "sysstat/flat_map.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>
#include <string_view>

namespace tarnwick {
namespace {

using Map = FlatMap<int, std::string>;

std::string textOf(const Map& map) {
  std::string text;
  for (const auto& [key, value] : map) {
    text += std::to_string(key) + value + ' ';
  }
  return text;
}

TEST(FlatMap, startsEmpty) {
  const Map map;
  EXPECT_TRUE(map.empty() && map.begin() == map.end());
}

TEST(FlatMap, ascendsByKey) {
  Map map;
  for (const int key : {5, 3, 9, 4}) {
    map[key] = "x";
  }
  EXPECT_EQ(textOf(map), "3x 4x 5x 9x ");
}

TEST(FlatMap, findsWhatIsThere) {
  const Map map = {{3, "c"}, {5, "e"}};
  EXPECT_TRUE(map.find(5)->second == "e" && map.at(3) == "c" && map.contains(3));
}

TEST(FlatMap, findsNothingElse) {
  const Map map = {{3, "c"}, {5, "e"}};
  EXPECT_TRUE(!map.contains(2) && map.find(4) == map.end() && !map.contains(6));
}

TEST(FlatMap, keyThatIsMissingIsAddedWithAValueOfItsOwn) {
  FlatMap<std::string, int64_t> map;
  EXPECT_EQ(map[std::string_view("nr_ion")], 0);
  EXPECT_TRUE(map.contains("nr_ion"));
}

TEST(FlatMap, entryOfAKeyThatIsThereIsItsEntry) {
  Map map = {{3, "c"}, {5, "e"}};
  map.entry(3)->second = "d";
  EXPECT_EQ(textOf(map), "3d 5e ");
}

TEST(FlatMap, lastOfEqualKeysHolds) {
  Map map;
  map.insertOrAssignAll({{4, "a"}, {2, "b"}, {4, "c"}, {2, "d"}, {4, "e"}});
  EXPECT_EQ(textOf(map), "2d 4e ");
}

TEST(FlatMap, lastOfEqualNeighboursHolds) {
  Map map;
  map.insertOrAssignAll({{2, "a"}, {2, "b"}});
  EXPECT_EQ(textOf(map), "2b ");
}

TEST(FlatMap, whatIsInsertedReplacesWhatWasThere) {
  Map map = {{1, "a"}, {3, "c"}};
  map.insertOrAssignAll({{2, "x"}, {3, "y"}});
  EXPECT_EQ(textOf(map), "1a 2x 3y ");
}

TEST(FlatMap, isEmptyWhenCleared) {
  Map map = {{1, "a"}};
  map.clear();
  EXPECT_TRUE(map.empty() && !map.contains(1));
}

TEST(FlatMap, differsByKeysAndValues) {
  const Map map = {{1, "a"}};
  EXPECT_TRUE(map == (Map{{1, "a"}}) && map != (Map{{1, "b"}}) && map != (Map{{2, "a"}}) &&
              !map.empty());
}

TEST(FlatMap, isWhatAStandardMapIsAfterRandomInsertions) {
  std::mt19937 random(1);
  for (int round = 0; round < 200; ++round) {
    Map map;
    std::map<int, std::string> standard;
    for (int step = 0; step < 20; ++step) {
      Map::Entries entries;
      for (unsigned count = random() % 4; count > 0; --count) {
        entries.emplace_back(random() % 30, std::to_string(random() % 100));
        standard.insert_or_assign(entries.back().first, entries.back().second);
      }
      map.insertOrAssignAll(std::move(entries));
      const int key = static_cast<int>(random() % 30);
      standard[key] += "+";
      map[key] += "+";
    }
    ASSERT_TRUE(std::equal(
        map.begin(), map.end(), standard.begin(), standard.end(),
        [](const auto& a, const auto& b) { return a.first == b.first && a.second == b.second; }))
        << textOf(map);
  }
}

}  // namespace
}  // namespace tarnwick
