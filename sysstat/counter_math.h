#pragma once

#include <cstdint>
#include <limits>

namespace tarnwick {

// Arithmetic on kernel counters. Every figure of a report is signed 64-bit and printed as it comes
// out, so the operations wrap as the processor's do: a counter that jumps from one end of the range
// to the other gives an odd number, never undefined behaviour.

constexpr int64_t wrap(uint64_t bits) {
  return static_cast<int64_t>(bits);
}

constexpr int64_t add(int64_t a, int64_t b) {
  return wrap(static_cast<uint64_t>(a) + static_cast<uint64_t>(b));
}

// What a counter gained from `before` to `after`. Negative when it went backwards.
constexpr int64_t difference(int64_t after, int64_t before) {
  return wrap(static_cast<uint64_t>(after) - static_cast<uint64_t>(before));
}

constexpr int64_t multiply(int64_t a, int64_t b) {
  return wrap(static_cast<uint64_t>(a) * static_cast<uint64_t>(b));
}

// User clock ticks (10 ms each: USER_HZ is 100 on every Linux that this runs on) to milliseconds.
constexpr int64_t ticksToMs(int64_t ticks) {
  return multiply(ticks, 10);
}

// Nanoseconds to milliseconds, truncated toward zero.
constexpr int64_t nsToMs(int64_t ns) {
  return static_cast<int64_t>(static_cast<double>(ns) / 1000000.0);
}

// 100 * part / whole, computed in doubles and truncated toward zero as AArch64's FCVTZS does on
// every processor: what does not fit gives the nearest end of the range, so a share of nothing is
// that end with the sign of `part`, and 0 of nothing, the not-a-number, is 0.
constexpr int32_t percent(int64_t part, int64_t whole) {
  constexpr int32_t kMin = std::numeric_limits<int32_t>::min();
  constexpr int32_t kMax = std::numeric_limits<int32_t>::max();
  if (whole == 0) {
    return part == 0 ? 0 : part < 0 ? kMin : kMax;
  }
  const double value = static_cast<double>(part) / static_cast<double>(whole) * 100.0;
  if (value <= static_cast<double>(kMin)) {
    return kMin;
  }
  return value >= static_cast<double>(kMax) ? kMax : static_cast<int32_t>(value);
}

}  // namespace tarnwick
