#include "sysstat/scan.h"

#include <cstdio>
#include <limits>
#include <string>

namespace tarnwick {

namespace {

// As many digits as a double holds exactly, and the powers of ten that it does.
constexpr ptrdiff_t kExactDigits = 15;
constexpr double kPowersOfTen[] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                   1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};

}  // namespace

bool Scanner::anyNumber(int64_t& out) {
  space();
  const bool negative = sign();
  if (at_ == end_ || !isDigit(*at_)) {
    return false;
  }
  uint64_t magnitude = fittingDigits();
  const uint64_t limit =
      static_cast<uint64_t>(std::numeric_limits<int64_t>::max()) + static_cast<uint64_t>(negative);
  for (; at_ != end_ && isDigit(*at_); ++at_) {
    const auto digit = static_cast<uint64_t>(*at_ - '0');
    magnitude = magnitude > (limit - digit) / 10 ? limit : magnitude * 10 + digit;
  }
  out = static_cast<int64_t>(negative ? -magnitude : magnitude);
  return true;
}

bool Scanner::real(double& out) {
  space();
  // "35.993650": a quotient of two exact numbers is rounded once, as scanf rounds.
  uint64_t digits = 0;
  const char* at = at_;
  for (; at != end_ && isDigit(*at); ++at) {
    digits = digits * 10 + static_cast<uint64_t>(*at - '0');
  }
  ptrdiff_t count = at - at_;
  ptrdiff_t decimals = 0;
  if (count > 0 && at != end_ && *at == '.') {
    const char* const point = at;
    for (++at; at != end_ && isDigit(*at); ++at) {
      digits = digits * 10 + static_cast<uint64_t>(*at - '0');
    }
    decimals = at - point - 1;
    count += decimals;
  }
  const bool plain = at == end_ || isSpace(*at) || *at == ':';
  if (count > 0 && count <= kExactDigits && plain) {
    at_ = at;
    out = static_cast<double>(digits) / kPowersOfTen[decimals];
    return true;
  }
  // Signs, exponents, hexadecimal, infinities, long numbers: no kernel prints them for a time.
  const std::string text(rest());
  int length = 0;
  // NOLINTNEXTLINE(cert-err34-c): this is the conversion that is promised
  if (sscanf(text.c_str(), "%lf%n", &out, &length) != 1) {
    return false;
  }
  at_ += length;
  return true;
}

}  // namespace tarnwick
