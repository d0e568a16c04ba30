#include <cstddef>
#include <cstdint>

#include "tests/fuzz/fuzz_target.h"

// The name by which libFuzzer calls it.
// NOLINTNEXTLINE(readability-identifier-naming)
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  tarnwick::takeInput({reinterpret_cast<const char*>(data), size});
  return 0;
}
