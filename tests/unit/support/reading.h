#pragma once

namespace tarnwick {

// What a parser under comparison says of a line that it finds nothing in. The headers named
// "..._reading.h" hold both sides of such comparisons: what a parser makes of a text, and what the
// functions of the C library make of it.
inline constexpr const char* kNone = "none";

}  // namespace tarnwick
