#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace tarnwick {

// How much memory the records of a trace may take.
struct MemoryLimit {
  uint64_t bytes;
  bool isDefault;  // the kernel did not say what is available

  bool operator==(const MemoryLimit&) const = default;
};

// The limit where the kernel does not say what is available: 128 MB, over five million records.
inline constexpr uint64_t kDefaultMemoryLimit = uint64_t{128} << 20U;

// The KB in the line "MemAvailable:    1234 kB" of the text of /proc/meminfo, read as by
// "MemAvailable: %lu"; no value without such a line, as on kernels before 3.14. Pure; see proc(5).
std::optional<uint64_t> parseMemAvailable(std::string_view text);

// A quarter of the available KB; kDefaultMemoryLimit without a value. Pure.
MemoryLimit memoryLimitOf(std::optional<uint64_t> availableKb);

}  // namespace tarnwick
