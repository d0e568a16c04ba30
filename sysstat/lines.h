#pragma once

#include <string_view>

namespace tarnwick {

// Takes a line from the start of a text, without its "\n", which the last line need not have.
inline std::string_view takeLine(std::string_view& text) {
  const size_t end = text.find('\n');
  const std::string_view line = text.substr(0, end);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  return line;
}

// Calls `visit` with each line of a text. Empty lines are passed over, as by strtok(3).
template <typename Visit>
void forEachLine(std::string_view text, Visit visit) {
  while (!text.empty()) {
    const std::string_view line = takeLine(text);
    if (!line.empty()) {
      visit(line);
    }
  }
}

}  // namespace tarnwick
