#pragma once

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/unit/support/odd_texts.h"
#include "tests/unit/support/reading.h"

namespace tarnwick {

// An endless row of lines to try a parser on, the same in every run. Half of them are odd texts,
// half are put together from parts: one choice of each part in order, and now and then none, or
// another part's, so that many are lines with just one thing wrong.
class OddLines {
 public:
  using Parts = std::vector<std::vector<std::string>>;

  OddLines(std::vector<std::string> realLines, std::string_view alphabet, Parts parts)
      : texts_(std::move(realLines), alphabet), parts_(std::move(parts)) {}

  std::string next() { return below(2) == 0 ? texts_.next() : composed(); }

 private:
  size_t below(size_t end) { return static_cast<size_t>(random_()) % end; }

  const std::string& choiceOf(const std::vector<std::string>& part) {
    return part[below(part.size())];
  }

  std::string composed() {
    std::string line;
    for (const std::vector<std::string>& part : parts_) {
      switch (below(60)) {
        case 0:
          break;
        case 1:
          line += choiceOf(parts_[below(parts_.size())]);
          break;
        case 2:
          line += choiceOf(part) + choiceOf(part);
          break;
        default:
          line += choiceOf(part);
          break;
      }
    }
    return line;
  }

  OddTexts texts_;
  Parts parts_;
  std::mt19937_64 random_{20240301};
};

// Fails where two ways to read a line disagree, or where so few of the lines hold something that
// their agreement says little. What was read comes as a text, or kNone.
template <typename Parser, typename Model>
void expectSameReadings(OddLines lines, Parser parser, Model model) {
  constexpr int kLines = 200000;
  int found = 0;
  for (int i = 0; i < kLines; ++i) {
    const std::string line = lines.next();
    const std::string expected = model(line);
    ASSERT_EQ(parser(line), expected) << testing::PrintToString(line);
    found += expected == kNone ? 0 : 1;
  }
  EXPECT_GT(found, kLines / 20);
}

}  // namespace tarnwick
