#pragma once

#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <sstream>
#include <string>

namespace tarnwick::memory_limit_reading {

// Of a text without NUL bytes.
inline std::optional<uint64_t> sscanfMemAvailableOf(const std::string& text) {
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    uint64_t kb = 0;
    if (sscanf(line.c_str(), "MemAvailable: %" SCNu64, &kb) == 1) {
      return kb;
    }
  }
  return std::nullopt;
}

}  // namespace tarnwick::memory_limit_reading
