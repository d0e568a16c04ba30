#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string_view>

#include "sysstat/eight_characters.h"

namespace tarnwick {

// Walks over a text the way scanf(3) does, one conversion a call. Every call gives exactly what the
// conversion in its comment gives in the C locale, on every input; that equality is why the parsers
// can be described by scan formats and still not pay for them.
//
//   // "cpu0 221 0 365": what follows the key, as "%ld %ld"
//   Scanner scan(text.substr(4));
//   scan.number(times.user) && scan.number(times.nice);
//
// The text holds no NUL byte (see kernel_text.h). A conversion that fails leaves its output alone.
class Scanner {
 public:
  explicit Scanner(std::string_view text) : at_(text.data()), end_(at_ + text.size()) {}

  // A blank in a format: any run of white space, also none.
  void space() {
    while (at_ != end_ && isSpace(*at_)) {
      ++at_;
    }
  }

  // A character of the format that stands for itself.
  bool literal(char expected) {
    if (at_ == end_ || *at_ != expected) {
      return false;
    }
    ++at_;
    return true;
  }

  // "%c"
  bool character(char& out) {
    if (at_ == end_) {
      return false;
    }
    out = *at_++;
    return true;
  }

  // "%[^x]" with x = `stop`: at least one character, blanks and newlines included.
  bool until(char stop, std::string_view& out) {
    const char* const start = at_;
    while (at_ != end_ && *at_ != stop) {
      ++at_;
    }
    if (at_ == start) {
      return false;
    }
    out = {start, static_cast<size_t>(at_ - start)};
    return true;
  }

  // "%[^0-9]": at least one character that is no digit, signs included.
  bool skipNonDigits() {
    const char* const start = at_;
    while (at_ != end_ && !isDigit(*at_)) {
      ++at_;
    }
    return at_ != start;
  }

  // "%s": a run of anything but white space.
  bool word(std::string_view& out) {
    space();
    const char* const start = at_;
    // Paths are long.
    while (end_ - at_ >= 8 && EightCharacters(at_).areNoBlanks()) {
      at_ += 8;
    }
    while (at_ != end_ && !isSpace(*at_)) {
      ++at_;
    }
    if (at_ == start) {
      return false;
    }
    out = {start, static_cast<size_t>(at_ - start)};
    return true;
  }

  // "%ld": a number too large for 64 bits becomes the largest or smallest one, as with strtol(3).
  bool number(int64_t& out) { return shortNumber(out) || anyNumber(out); }

  // "%d": the number of "%ld" cut to its low 32 bits, which is what the C libraries do.
  bool integer(int32_t& out) {
    int64_t wide = 0;
    if (!number(wide)) {
      return false;
    }
    out = static_cast<int32_t>(wide);
    return true;
  }

  // "%lu": as strtoul(3), so a minus sign negates, and what does not fit becomes the largest
  // number.
  bool unsignedNumber(uint64_t& out) {
    space();
    const bool negative = sign();
    if (at_ == end_ || !isDigit(*at_)) {
      return false;
    }
    constexpr uint64_t kLargest = std::numeric_limits<uint64_t>::max();
    uint64_t magnitude = fittingDigits();
    bool overflow = false;
    for (; at_ != end_ && isDigit(*at_); ++at_) {
      const auto digit = static_cast<uint64_t>(*at_ - '0');
      overflow = overflow || magnitude > (kLargest - digit) / 10;
      magnitude = magnitude * 10 + digit;
    }
    out = overflow ? kLargest : negative ? -magnitude : magnitude;
    return true;
  }

  // "%hu": the number of "%lu" cut to its low 16 bits.
  bool unsignedShort(uint16_t& out) {
    uint64_t wide = 0;
    if (!unsignedNumber(wide)) {
      return false;
    }
    out = static_cast<uint16_t>(wide);
    return true;
  }

  // "%lx": hexadecimal with or without 0x, otherwise as "%lu".
  bool hexNumber(uint64_t& out) {
    space();
    const bool negative = sign();
    if (at_ == end_ || !isHexDigit(*at_)) {
      return false;
    }
    if (*at_ == '0' && ++at_ != end_ && (*at_ | 0x20) == 'x') {
      ++at_;  // a lone "0x" is the number 0, and its "x" is gone
    }
    uint64_t magnitude = 0;
    bool overflow = false;
    for (; at_ != end_ && isHexDigit(*at_); ++at_) {
      overflow = overflow || magnitude >> 60U != 0;
      magnitude = magnitude << 4U | hexValue(*at_);
    }
    out = overflow ? std::numeric_limits<uint64_t>::max() : negative ? -magnitude : magnitude;
    return true;
  }

  // "%lf"
  bool real(double& out);

  // "%*s"
  bool skipWord() {
    std::string_view ignored;
    return word(ignored);
  }

  // A run of the format that stands for itself and holds no blanks.
  bool literal(std::string_view expected) {
    if (!rest().starts_with(expected)) {
      return false;
    }
    at_ += expected.size();
    return true;
  }

  // What has not been scanned yet.
  std::string_view rest() const { return {at_, static_cast<size_t>(end_ - at_)}; }

  // "%*ld", which takes the same characters as "%*lu"
  bool skipNumber() {
    space();
    sign();
    const char* const digits = at_;
    while (at_ != end_ && isDigit(*at_)) {
      ++at_;
    }
    return at_ != digits;
  }

  // "%*lx"
  bool skipHexNumber() {
    space();
    sign();
    if (at_ == end_ || !isHexDigit(*at_)) {
      return false;
    }
    if (*at_ == '0' && ++at_ != end_ && (*at_ | 0x20) == 'x') {
      ++at_;
    }
    while (at_ != end_ && isHexDigit(*at_)) {
      ++at_;
    }
    return true;
  }

  // `count` times "%*ld"; false as soon as one of them fails.
  bool skipNumbers(int count) {
    for (; count > 0; --count) {
      if (!skipNumber()) {
        return false;
      }
    }
    return true;
  }

 private:
  static bool isSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
  static bool isDigit(char c) { return static_cast<unsigned char>(c - '0') < 10; }

  // Takes a sign, if there is one. Whether it is a minus.
  bool sign() {
    if (at_ == end_ || (*at_ != '-' && *at_ != '+')) {
      return false;
    }
    return *at_++ == '-';
  }

  // A number of up to 18 digits without a sign, behind nothing but blanks, as nearly all are.
  bool shortNumber(int64_t& out) {
    const char* at = at_;
    while (at != end_ && *at == ' ') {
      ++at;
    }
    if (end_ - at < 8) {
      return false;
    }
    const EightCharacters next(at);
    const int count = next.digits();
    if (count == 0) {
      return false;
    }
    uint64_t value = next.number(count);
    at += count;
    if (count == 8) {
      constexpr ptrdiff_t kMore = 10;
      const char* const end = end_ - at > kMore ? at + kMore : end_;
      for (; at != end && isDigit(*at); ++at) {
        value = value * 10 + static_cast<uint64_t>(*at - '0');
      }
      if (at != end_ && isDigit(*at)) {
        return false;
      }
    }
    at_ = at;
    out = static_cast<int64_t>(value);
    return true;
  }

  bool anyNumber(int64_t& out);

  // The number of the digits that come next, up to as many as fit in any 64 bits.
  uint64_t fittingDigits() {
    constexpr ptrdiff_t kFitting = 18;
    const char* const end = end_ - at_ > kFitting ? at_ + kFitting : end_;
    uint64_t magnitude = 0;
    for (; at_ != end && isDigit(*at_); ++at_) {
      magnitude = magnitude * 10 + static_cast<uint64_t>(*at_ - '0');
    }
    return magnitude;
  }

  static bool isHexDigit(char c) {
    const auto letter = static_cast<unsigned char>((c | 0x20) - 'a');
    return isDigit(c) || letter < 6;
  }

  // Of a hexadecimal digit.
  static uint64_t hexValue(char c) {
    return static_cast<uint64_t>(isDigit(c) ? c - '0' : (c | 0x20) - 'a' + 10);
  }

  const char* at_;
  const char* end_;
};

}  // namespace tarnwick
