#pragma once

#include <cstdint>
#include <cstring>
#include <limits>
#include <string_view>

namespace tarnwick {

// The text of a kernel file as C string functions see it: up to the first NUL byte, and never past
// the `size` bytes of the buffer. A file that fills its buffer has no terminator.
inline std::string_view kernelText(const char* buffer, size_t size) {
  return {buffer, strnlen(buffer, size)};
}

// Walks over a text the way scanf(3) does, one conversion a call. Every call gives exactly what the
// conversion in its comment gives in the C locale, on every input; that equality is why the parsers
// can be described by scan formats and still not pay for them.
//
//   // "cpu0 221 0 365": what follows the key, as "%ld %ld"
//   Scanner scan(text.substr(4));
//   scan.number(times.user) && scan.number(times.nice);
//
// The text holds no NUL byte (see kernelText). A conversion that fails leaves its output alone.
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
  bool number(int64_t& out) {
    space();
    const bool negative = at_ != end_ && *at_ == '-';
    if (at_ != end_ && (*at_ == '-' || *at_ == '+')) {
      ++at_;
    }
    if (at_ == end_ || !isDigit(*at_)) {
      return false;
    }
    const uint64_t limit = static_cast<uint64_t>(std::numeric_limits<int64_t>::max()) +
                           static_cast<uint64_t>(negative);
    uint64_t magnitude = 0;
    do {
      const auto digit = static_cast<uint64_t>(*at_ - '0');
      magnitude = magnitude > (limit - digit) / 10 ? limit : magnitude * 10 + digit;
    } while (++at_ != end_ && isDigit(*at_));
    out = static_cast<int64_t>(negative ? -magnitude : magnitude);
    return true;
  }

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
  bool unsignedNumber(uint64_t& out) { return unsignedDigits(out, 10); }

  // "%hu": the number of "%lu" cut to its low 16 bits.
  bool unsignedShort(uint16_t& out) {
    uint64_t wide = 0;
    if (!unsignedDigits(wide, 10)) {
      return false;
    }
    out = static_cast<uint16_t>(wide);
    return true;
  }

  // "%lx": hexadecimal with or without 0x, otherwise as "%lu".
  bool hexNumber(uint64_t& out) { return unsignedDigits(out, 16); }

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
  static bool isDigit(char c) { return c >= '0' && c <= '9'; }

  bool skipNumber() {
    space();
    if (at_ != end_ && (*at_ == '-' || *at_ == '+')) {
      ++at_;
    }
    const char* const digits = at_;
    while (at_ != end_ && isDigit(*at_)) {
      ++at_;
    }
    return at_ != digits;
  }

  // -1 for a character that is no digit of the base, 10 or 16.
  static int digitValue(char c, unsigned base) {
    if (isDigit(c)) {
      return c - '0';
    }
    const char lower = static_cast<char>(c | 0x20);
    return base == 16 && lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
  }

  bool unsignedDigits(uint64_t& out, unsigned base) {
    space();
    const bool negative = at_ != end_ && *at_ == '-';
    if (at_ != end_ && (*at_ == '-' || *at_ == '+')) {
      ++at_;
    }
    bool any = false;
    if (base == 16 && at_ != end_ && *at_ == '0') {
      // A lone "0x" is the number 0, and its "x" is gone.
      any = true;
      ++at_;
      if (at_ != end_ && (*at_ | 0x20) == 'x') {
        ++at_;
      }
    }
    constexpr uint64_t kLargest = std::numeric_limits<uint64_t>::max();
    uint64_t magnitude = 0;
    bool overflow = false;
    for (; at_ != end_; ++at_, any = true) {
      const int digit = digitValue(*at_, base);
      if (digit < 0) {
        break;
      }
      const auto value = static_cast<uint64_t>(digit);
      overflow = overflow || magnitude > (kLargest - value) / base;
      magnitude = magnitude * base + value;
    }
    if (!any) {
      return false;
    }
    out = overflow ? kLargest : negative ? -magnitude : magnitude;
    return true;
  }

  const char* at_;
  const char* end_;
};

}  // namespace tarnwick
