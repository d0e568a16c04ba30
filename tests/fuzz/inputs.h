#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "sysstat/kernel_text.h"
#include "tests/fuzz/fuzz_target.h"
#include "tests/unit/support/lines_reading.h"
#include "trace/line_splitter.h"

namespace tarnwick {

// A copy of a text with nothing behind it, so that a sanitizer sees who reads on.
class LoneText {
 public:
  explicit LoneText(std::string_view text) : bytes_(text.begin(), text.end()) {}

  operator std::string_view() const { return {bytes_.data(), bytes_.size()}; }

 private:
  std::vector<char> bytes_;
};

// The text that a file gives whose bytes are the input, read into a buffer of 4096.
inline std::string kernelTextOf(std::string_view input) {
  constexpr size_t kBuffer = 4096;
  return std::string(kernelText(input.data(), std::min(input.size(), kBuffer)));
}

// Feeds a line splitter with the input in pieces, of a size that the input's size has the choice
// of, compares its lines with those of fgets, and calls `visit` with each.
template <typename Visit>
void forEachStreamLine(std::string_view input, Visit visit) {
  const size_t piece = 1 + input.size() % 61 * 16;
  std::vector<std::string> lines;
  const auto take = [&lines](std::string_view line) { lines.emplace_back(line); };
  LineSplitter splitter;
  for (std::string_view left = input; !left.empty();
       left.remove_prefix(std::min(piece, left.size()))) {
    splitter.feed(LoneText(left.substr(0, piece)), take);
  }
  splitter.finish(take);
  expectSame(lines, lines_reading::fgetsLinesOf<1024>(input));
  std::for_each(lines.begin(), lines.end(), visit);
}

}  // namespace tarnwick
