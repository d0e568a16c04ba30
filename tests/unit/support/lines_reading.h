#pragma once

#include <array>
#include <cstddef>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace tarnwick::lines_reading {

// The lines of the text as fgets(3) gives them with a buffer of `kSize` bytes, each up to its
// first NUL byte.
template <size_t kSize>
std::vector<std::string> fgetsLinesOf(std::string_view text) {
  std::vector<std::string> lines;
  if (text.empty()) {
    return lines;  // a file of nothing cannot be opened
  }
  std::vector<char> bytes(text.begin(), text.end());
  FILE* const file = fmemopen(bytes.data(), bytes.size(), "r");
  std::array<char, kSize> line;
  while (fgets(line.data(), line.size(), file) != nullptr) {
    lines.emplace_back(line.data());
  }
  fclose(file);
  return lines;
}

}  // namespace tarnwick::lines_reading
