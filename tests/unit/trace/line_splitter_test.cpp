#include "trace/line_splitter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "tests/unit/support/lines_reading.h"

namespace tarnwick {
namespace {

using Lines = std::vector<std::string>;

Lines split(const std::vector<std::string>& chunks, bool ended = true) {
  Lines lines;
  const auto take = [&lines](std::string_view line) { lines.emplace_back(line); };
  LineSplitter splitter;
  for (const std::string& chunk : chunks) {
    splitter.feed(chunk, take);
  }
  if (ended) {
    splitter.finish(take);
  }
  return lines;
}

TEST(LineSplitter, givesLinesWithTheirNewlines) {
  EXPECT_EQ(split({"one\ntwo\n"}), (Lines{"one\n", "two\n"}));
}

TEST(LineSplitter, joinsWhatComesInPieces) {
  EXPECT_EQ(split({"o", "ne\nt", "wo", "\n"}), (Lines{"one\n", "two\n"}));
}

TEST(LineSplitter, lastLineNeedsNoNewlineWhenTheStreamEnds) {
  EXPECT_EQ(split({"one\ntwo"}), (Lines{"one\n", "two"}));
}

TEST(LineSplitter, lastLineWithoutANewlineIsNoLineBeforeTheEnd) {
  EXPECT_EQ(split({"one\ntwo"}, false), Lines{"one\n"});
}

TEST(LineSplitter, lineIsSeenUpToItsFirstNul) {
  EXPECT_EQ(split({std::string("a\0b\nc\n", 6)}), (Lines{"a", "c\n"}));
}

TEST(LineSplitter, lineOf1023CharactersIsWhole) {
  EXPECT_EQ(split({std::string(1022, 'x') + "\ny\n"}),
            (Lines{std::string(1022, 'x') + "\n", "y\n"}));
}

TEST(LineSplitter, lineOf1024CharactersIsCutInTwo) {
  EXPECT_EQ(split({std::string(1023, 'x') + "\ny\n"}),
            (Lines{std::string(1023, 'x'), "\n", "y\n"}));
}

TEST(LineSplitter, cutsAsFgetsDoes) {
  std::mt19937 random(20161224);
  for (int round = 0; round < 300; ++round) {
    std::string stream;
    for (size_t length = random() % 9000; length > 0; --length) {
      stream += random() % 600 == 0 ? '\n' : 'x';
    }
    std::vector<std::string> chunks;
    for (size_t at = 0; at < stream.size();) {
      const size_t length = std::min<size_t>(1 + random() % 3000, stream.size() - at);
      chunks.push_back(stream.substr(at, length));
      at += length;
    }
    ASSERT_EQ(split(chunks), lines_reading::fgetsLinesOf<1024>(stream));
  }
}

}  // namespace
}  // namespace tarnwick
