#pragma once

#include <algorithm>
#include <iterator>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tarnwick {

// An endless row of texts to try a parser on, the same in every run: real texts with a few bytes
// changed, rows of numbers at and beyond the limits of their types, and noise. No text holds a NUL
// byte.
class OddTexts {
 public:
  // `alphabet` is what noise and changes are made of.
  OddTexts(std::vector<std::string> realTexts, std::string_view alphabet)
      : realTexts_(std::move(realTexts)), alphabet_(alphabet) {}

  std::string next() {
    switch (below(4)) {
      case 0:
        return noise(below(60));
      case 1:
        return numbers();
      default:
        return mutated();
    }
  }

 private:
  size_t below(size_t end) { return static_cast<size_t>(random_()) % end; }

  char letter() { return alphabet_[below(alphabet_.size())]; }

  std::string noise(size_t length) {
    std::string text(length, ' ');
    std::generate(text.begin(), text.end(), [this] { return letter(); });
    return text;
  }

  std::string number() {
    static constexpr const char* kLimits[] = {
        "0",
        "-0",
        "2147483647",
        "2147483648",
        "-2147483648",
        "-2147483649",
        "4294967295",
        "4294967296",
        "9223372036854775806",
        "9223372036854775807",
        "9223372036854775808",
        "9223372036854775809",
        "9223372036854775810",
        "-9223372036854775807",
        "-9223372036854775808",
        "-9223372036854775809",
        "-9223372036854775810",
        "18446744073709551615",
        "18446744073709551616",
        "92233720368547758070",
        "-92233720368547758080",
        "+9223372036854775807",
        "0x10",
        "007",
        "1e3",
        "99999999999999999999999999999999999999",
        "000000000000000000000000000000000000012",
    };
    switch (below(4)) {
      case 0:
        return std::to_string(random_());
      case 1:
        return (below(2) == 0 ? "-" : "") + std::string(1 + below(40), letterOf("0123456789"));
      default:
        return kLimits[below(std::size(kLimits))];
    }
  }

  char letterOf(std::string_view letters) { return letters[below(letters.size())]; }

  std::string numbers() {
    std::string text;
    for (size_t left = 1 + below(9); left > 0; --left) {
      text += number();
      text += std::string(1 + below(2), below(8) == 0 ? letter() : ' ');
    }
    return text;
  }

  std::string mutated() {
    std::string text = realTexts_[below(realTexts_.size())];
    for (size_t left = 1 + below(4); left > 0 && !text.empty(); --left) {
      mutate(text);
    }
    return text;
  }

  void mutate(std::string& text) {
    const size_t at = below(text.size());
    const size_t length = 1 + below(8);
    switch (below(6)) {
      case 0:
        text.erase(at, length);
        break;
      case 1:
        text.insert(at, noise(length));
        break;
      case 2:
        text[at] = letter();
        break;
      case 3:
        text.insert(at, text.substr(at, length));
        break;
      case 4:
        text.insert(at, number());
        break;
      default:
        text.resize(at);
        break;
    }
  }

  std::vector<std::string> realTexts_;
  std::string_view alphabet_;
  std::mt19937_64 random_{20240229};
};

}  // namespace tarnwick
