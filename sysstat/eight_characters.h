#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

namespace tarnwick {

// Eight characters of a text, looked at all at once.
class EightCharacters {
 public:
  // So many characters can be read there.
  explicit EightCharacters(const char* at) {
    static_assert(std::endian::native == std::endian::little, "the first character is the lowest");
    memcpy(&word_, at, sizeof word_);
  }

  // How many of the first ones are decimal digits.
  int digits() const {
    // A digit becomes 0 to 9, all others something else.
    return firstOf(above(word_ ^ '0' * kEach, 9));
  }

  // The number of the first ones, 1 to 8 digits.
  uint64_t number(int digits) const {
    // Zeros come in front of them, then neighbours become one number: of two digits, four, eight.
    uint64_t number = (word_ ^ '0' * kEach) << (64 - 8 * digits);
    number = (number * 10 + (number >> 8U)) & 0x00FF00FF00FF00FF;
    number = (number * 100 + (number >> 16U)) & 0x0000FFFF0000FFFF;
    return (number * 10000 + (number >> 32U)) & 0xFFFFFFFF;
  }

  // How many of the first ones are no blanks, no control characters and no "=".
  int wordCharacters() const {
    const uint64_t inWord = above(word_, ' ') & above(word_ ^ '=' * kEach, 0);
    return firstOf(~inWord & kHighBits);
  }

  // How many of the first ones are no control characters and no "=".
  int nameCharacters() const {
    const uint64_t inName = above(word_, ' ' - 1) & above(word_ ^ '=' * kEach, 0);
    return firstOf(~inName & kHighBits);
  }

  // Whether all are hexadecimal digits of lower case.
  bool areHexDigits() const {
    const uint64_t letters = (word_ & 0x40 * kEach) >> 6U;
    // Digits and letters that are right become 0 to 15, letters at least 10. A borrow or a carry
    // comes from a character that is wrong.
    const uint64_t values = word_ - letters * ('a' - '0' - 10) - '0' * kEach;
    const uint64_t atLeast10 = (values + 6 * kEach) >> 4U & kEach;
    return (values & 0xF0 * kEach) == 0 && atLeast10 == letters;
  }

  // Whether none is a blank or a control character.
  bool areNoBlanks() const {
    constexpr uint64_t kFirst = (' ' + 1) * kEach;
    return ((word_ - kFirst) & ~word_ & kHighBits) == 0;
  }

 private:
  static constexpr uint64_t kEach = 0x0101010101010101;
  static constexpr uint64_t kHighBits = 0x80 * kEach;

  // The high bit of each character of `word` that is above `limit`, which is below 128.
  static uint64_t above(uint64_t word, uint64_t limit) {
    return (((word & ~kHighBits) + (0x7F - limit) * kEach) | word) & kHighBits;
  }

  static int firstOf(uint64_t highBits) {
    return highBits == 0 ? 8 : std::countr_zero(highBits) / 8;
  }

  uint64_t word_;
};

}  // namespace tarnwick
