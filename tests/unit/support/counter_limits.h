#pragma once

#include <cstdint>
#include <limits>

namespace tarnwick {

// The range of a counter.
inline constexpr int64_t kMax = std::numeric_limits<int64_t>::max();
inline constexpr int64_t kMin = std::numeric_limits<int64_t>::min();

}  // namespace tarnwick
