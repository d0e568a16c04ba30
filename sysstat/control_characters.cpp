#include "sysstat/control_characters.h"

#include <cstddef>

namespace tarnwick {

namespace {

// How many bytes the control character at the front has; 0 if there is none.
size_t controlLength(std::string_view text) {
  const auto byteAt = [text](size_t index) { return static_cast<unsigned char>(text[index]); };
  if (byteAt(0) < ' ' || byteAt(0) == 0x7f) {
    return 1;
  }
  const bool isC1 = byteAt(0) == 0xc2 && text.size() > 1 && byteAt(1) >= 0x80 && byteAt(1) < 0xa0;
  return isC1 ? 2 : 0;
}

}  // namespace

void replaceControlCharacters(std::string& text, std::string_view kept) {
  size_t length = 0;
  for (size_t i = 0; i < text.size(); ++i) {
    const size_t control = kept.find(text[i]) == std::string_view::npos
                               ? controlLength(std::string_view(text).substr(i))
                               : 0;
    if (control == 0) {
      text[length++] = text[i];
    } else {
      text[length++] = '?';
      i += control - 1;
    }
  }
  text.resize(length);
}

}  // namespace tarnwick
