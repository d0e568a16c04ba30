#include "trace/memory_limit.h"

#include <algorithm>
#include <limits>

#include "sysstat/lines.h"
#include "sysstat/scan.h"

namespace tarnwick {

std::optional<uint64_t> parseMemAvailable(std::string_view text) {
  while (!text.empty()) {
    Scanner scan(takeLine(text));
    uint64_t kb = 0;
    if (scan.literal("MemAvailable:") && scan.unsignedNumber(kb)) {
      return kb;
    }
  }
  return std::nullopt;
}

MemoryLimit memoryLimitOf(std::optional<uint64_t> availableKb) {
  if (!availableKb) {
    return {kDefaultMemoryLimit, true};
  }
  constexpr uint64_t kQuarterOfKb = 256;
  constexpr uint64_t kMaxKb = std::numeric_limits<uint64_t>::max() / kQuarterOfKb;
  return {std::min(*availableKb, kMaxKb) * kQuarterOfKb, false};
}

}  // namespace tarnwick
