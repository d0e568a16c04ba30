#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string_view>

#include "sysstat/eight_characters.h"

namespace tarnwick {

// Reads a line in the form that kernels really print it, and refuses everything else: a sign or
// more than 18 digits in a number that is wanted, blanks where none or one is usual. Who is refused
// reads the line with Scanner; what is not refused has the same result there. After a refusal the
// object is of no use.
class OrdinaryText {
 public:
  // What is behind a position of a text. The text ends in a newline, where every run of characters
  // ends that is looked for here.
  OrdinaryText(const char* at, const char* end) : at_(at), end_(end) {}

  static bool canRead(std::string_view text) { return !text.empty() && text.back() == '\n'; }

  const char* at() const { return at_; }

  template <size_t kSize>
  bool literal(const char (&expected)[kSize]) {
    constexpr size_t kLength = kSize - 1;
    if (static_cast<size_t>(end_ - at_) < kLength || !same<kLength>(at_, expected)) {
      return false;
    }
    at_ += kLength;
    return true;
  }

  void blanks() {
    while (*at_ == ' ') {
      ++at_;
    }
  }

  // A run of at most `longest` characters, up to 7, that are no blanks and no "=".
  bool word(int longest) {
    if (end_ - at_ < 8) {
      return false;
    }
    const int count = EightCharacters(at_).wordCharacters();
    at_ += count;
    return count > 0 && count <= longest;
  }

  // A number. Returns how many digits it has; 0 is a refusal.
  ptrdiff_t number(uint64_t& out) {
    const char* at = at_;
    uint64_t value = 0;
    for (unsigned digit; (digit = static_cast<unsigned char>(*at) - unsigned{'0'}) < 10; ++at) {
      value = value * 10 + digit;
    }
    const ptrdiff_t count = at - at_;
    at_ = at;
    out = value;
    return count <= kMostDigits ? count : 0;
  }

  // A number of exactly `kCount` digits, up to 7. Saves 18 of 46 instructions at 6 digits.
  template <int kCount>
  bool digits(uint64_t& out) {
    if (end_ - at_ < 8 || EightCharacters(at_).digits() != kCount) {
      return false;
    }
    out = EightCharacters(at_).number(kCount);
    at_ += kCount;
    return true;
  }

  bool integer(int32_t& out) {
    uint64_t value = 0;
    if (number(value) == 0 || value > std::numeric_limits<int32_t>::max()) {
      return false;
    }
    out = static_cast<int32_t>(value);
    return true;
  }

  // A blank and a number.
  bool field(int64_t& out) {
    uint64_t value = 0;
    if (*at_ != ' ') {
      return false;
    }
    ++at_;
    if (number(value) == 0) {
      return false;
    }
    out = static_cast<int64_t>(value);
    return true;
  }

  // The first digit of a number of whatever value.
  bool skipDigit() { return static_cast<unsigned char>(*at_++ - '0') < 10; }

  // Any character that is no blank.
  bool skipCharacter() {
    if (static_cast<unsigned char>(*at_) <= ' ') {
      return false;
    }
    ++at_;
    return true;
  }

  bool hexNumber(uint64_t& out) {
    const char* at = at_;
    uint64_t value = 0;
    for (unsigned digit; (digit = kHexDigits[static_cast<unsigned char>(*at)]) < 16; ++at) {
      value = value << 4U | digit;
    }
    const ptrdiff_t count = at - at_;
    at_ = at;
    out = value;
    return count > 0 && count <= 16;
  }

  // `count` fields of a blank and a number of whatever sign and value.
  bool skipFields(int count) {
    const char* at = at_;
    for (; count > 0; --count) {
      if (*at++ != ' ') {
        return false;
      }
      if (at[0] == '0' && at[1] == ' ') {
        ++at;  // most of them
        continue;
      }
      at += at[0] == '-' ? 1 : 0;
      const char* const digits = at;
      at = digitsEnd(at);
      if (at == digits) {
        return false;
      }
    }
    at_ = at;
    return true;
  }

  // A number of whatever value.
  bool skipNumber() {
    const char* const digits = at_;
    at_ = digitsEnd(digits);
    return at_ != digits;
  }

  bool skipHexNumber() {
    const char* at = at_;
    while (isHexDigit(*at) && end_ - at >= 8 && EightCharacters(at).areHexDigits()) {
      at += 8;
    }
    while (isHexDigit(*at)) {
      ++at;
    }
    const bool any = at != at_;
    at_ = at;
    return any;
  }

 private:
  static constexpr ptrdiff_t kMostDigits = 18;

  static bool isHexDigit(char c) { return kHexDigits[static_cast<unsigned char>(c)] < 16; }

  // Where the digits end that come next.
  const char* digitsEnd(const char* at) const {
    for (; end_ - at >= 8; at += 8) {
      const int count = EightCharacters(at).digits();
      if (count < 8) {
        return at + count;
      }
    }
    while (static_cast<unsigned char>(*at - '0') < 10) {
      ++at;
    }
    return at;
  }

  // Of lower case, as the kernel has it; 16 for all other characters.
  static constexpr auto kHexDigits = [] {
    std::array<unsigned char, 256> digits{};
    digits.fill(16);
    for (unsigned char digit = 0; digit < 16; ++digit) {
      digits.at(static_cast<unsigned char>("0123456789abcdef"[digit])) = digit;
    }
    return digits;
  }();

  // By words: compilers make calls of comparisons of other lengths.
  template <size_t kLength>
  static bool same(const char* text, const char* expected) {
    if constexpr (kLength > 8) {
      return memcmp(text, expected, 8) == 0 && same<kLength - 8>(text + 8, expected + 8);
    } else if constexpr (kLength > 4) {
      return memcmp(text, expected, 4) == 0 &&
             memcmp(text + kLength - 4, expected + kLength - 4, 4) == 0;
    } else if constexpr (kLength > 2) {
      return memcmp(text, expected, 2) == 0 &&
             memcmp(text + kLength - 2, expected + kLength - 2, 2) == 0;
    } else {
      return memcmp(text, expected, kLength) == 0;
    }
  }

  const char* at_;
  const char* end_;
};

}  // namespace tarnwick
