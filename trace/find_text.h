#pragma once

#include <cstring>
#include <string_view>

namespace tarnwick {

// Where a text first stands in another, or npos: string_view::find, but looking for the character
// of the text at `rare`, which should be one that lines of the trace seldom have.
template <size_t kSize>
size_t findText(std::string_view line, const char (&text)[kSize], size_t rare) {
  constexpr size_t kLength = kSize - 1;
  if (line.size() < kLength) {
    return std::string_view::npos;
  }
  const char* const start = line.data();
  const char* const end = start + line.size() - kLength + rare + 1;  // of where `rare` can be
  for (const char* at = start + rare; at < end; ++at) {
    at = static_cast<const char*>(memchr(at, text[rare], static_cast<size_t>(end - at)));
    if (at == nullptr) {
      break;
    }
    if (memcmp(at - rare, text, kLength) == 0) {
      return static_cast<size_t>(at - rare - start);
    }
  }
  return std::string_view::npos;
}

}  // namespace tarnwick
