#pragma once

#include <string>
#include <string_view>

namespace tarnwick {

// Replaces each control character of the text, but those in `kept`, by '?': what is below a blank,
// DEL, and U+0080 to U+009F as UTF-8 writes them. A single byte from 0x80 on stays: it is a part of
// another character. A name holds whatever its process wants, and a terminal would obey it. Pure;
// see ascii(7) and utf-8(7).
void replaceControlCharacters(std::string& text, std::string_view kept = {});

}  // namespace tarnwick
