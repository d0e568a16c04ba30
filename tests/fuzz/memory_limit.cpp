// /proc/meminfo

#include "trace/memory_limit.h"

#include "tests/fuzz/inputs.h"
#include "tests/unit/support/memory_limit_reading.h"

namespace tarnwick {

void takeInput(std::string_view input) {
  const std::string text = kernelTextOf(input);
  expectSame(parseMemAvailable(LoneText(text)), memory_limit_reading::sscanfMemAvailableOf(text));
}

}  // namespace tarnwick
