#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

namespace tarnwick {

// Eight characters of a text at once, of which the first ones may be decimal digits.
class EightDigits {
 public:
  // Eight characters can be read there.
  explicit EightDigits(const char* at) {
    static_assert(std::endian::native == std::endian::little, "the first character is the lowest");
    memcpy(&word_, at, sizeof word_);
    word_ ^= '0' * kEach;
  }

  // How many digits there are before the first other character.
  int count() const {
    // A digit has become 0 to 9, all others something else; 0x76 lifts 10 and more to the high bit.
    constexpr uint64_t kHigh = 0x80 * kEach;
    const uint64_t others = (((word_ & ~kHigh) + 0x76 * kEach) | word_) & kHigh;
    return others == 0 ? 8 : std::countr_zero(others) / 8;
  }

  // The number of the first `count` characters, 1 to 8 digits.
  uint64_t value(int count) const {
    // Zeros come in front of them, then neighbours become one number: of two digits, four, eight.
    uint64_t word = word_ << (64 - 8 * count);
    word = (word * 10 + (word >> 8U)) & 0x00FF00FF00FF00FF;
    word = (word * 100 + (word >> 16U)) & 0x0000FFFF0000FFFF;
    return (word * 10000 + (word >> 32U)) & 0xFFFFFFFF;
  }

 private:
  static constexpr uint64_t kEach = 0x0101010101010101;

  uint64_t word_;
};

}  // namespace tarnwick
