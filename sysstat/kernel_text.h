#pragma once

#include <cstddef>
#include <cstring>
#include <string_view>

namespace tarnwick {

// The text of a kernel file as C string functions see it: up to the first NUL byte, and never past
// the `size` bytes of the buffer. A file that fills its buffer has no terminator.
inline std::string_view kernelText(const char* buffer, size_t size) {
  return {buffer, strnlen(buffer, size)};
}

}  // namespace tarnwick
