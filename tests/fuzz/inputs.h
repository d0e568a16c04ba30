#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "sysstat/kernel_text.h"
#include "tests/fuzz/fuzz_target.h"
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

// The lines of the input as fgets(3) gives them with a buffer of `kSize` bytes, each up to its
// first NUL byte.
template <size_t kSize>
std::vector<std::string> fgetsLinesOf(std::string_view input) {
  std::vector<std::string> lines;
  if (input.empty()) {
    return lines;  // a file of nothing cannot be opened
  }
  std::vector<char> bytes(input.begin(), input.end());
  FILE* const file = fmemopen(bytes.data(), bytes.size(), "r");
  std::array<char, kSize> line;
  while (fgets(line.data(), line.size(), file) != nullptr) {
    lines.emplace_back(line.data());
  }
  fclose(file);
  return lines;
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
  expectSame(lines, fgetsLinesOf<1024>(input));
  std::for_each(lines.begin(), lines.end(), visit);
}

}  // namespace tarnwick
