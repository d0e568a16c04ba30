// /proc/PID/stat

#include "tests/fuzz/inputs.h"
#include "tests/unit/support/process_reading.h"

namespace tarnwick {

void takeInput(std::string_view input) {
  const std::string text = kernelTextOf(input);
  expectSame(process_reading::statOf(LoneText(text)), process_reading::sscanfStatOf(text));
}

}  // namespace tarnwick
