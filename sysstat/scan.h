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

  // "%*s"
  bool skipWord() {
    std::string_view ignored;
    return word(ignored);
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

  const char* at_;
  const char* end_;
};

}  // namespace tarnwick
