// /proc/PID/schedstat

#include "tests/fuzz/inputs.h"
#include "tests/unit/support/process_reading.h"

namespace tarnwick {

void takeInput(std::string_view input) {
  const std::string text = kernelTextOf(input);
  expectSame(process_reading::schedstatOf(LoneText(text)),
             process_reading::sscanfSchedstatOf(text));
}

}  // namespace tarnwick
