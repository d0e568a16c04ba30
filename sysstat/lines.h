#pragma once

#include <string_view>

namespace tarnwick {

// Calls `visit` with each line of a text, without its "\n". Empty lines are passed over, as by
// strtok(3); the last line needs no "\n".
template <typename Visit>
void forEachLine(std::string_view text, Visit visit) {
  while (!text.empty()) {
    const size_t end = text.find('\n');
    const std::string_view line = text.substr(0, end);
    if (!line.empty()) {
      visit(line);
    }
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
}

}  // namespace tarnwick
