#pragma once

#include <string>

namespace tarnwick {

// The bytes of a number, or of a structure without padding, in this machine's byte order: as the
// kernel's buffers have them.
template <typename Value>
std::string bytesOf(Value value) {
  return {reinterpret_cast<const char*>(&value), sizeof value};
}

}  // namespace tarnwick
