#pragma once

#include <string>

namespace tarnwick {

// The bytes of an integer as the ring buffer has them: of this machine's byte order, without
// padding.
template <typename Value>
std::string bytesOf(Value value) {
  return {reinterpret_cast<const char*>(&value), sizeof value};
}

}  // namespace tarnwick
