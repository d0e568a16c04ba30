// A CPU's cpufreq/stats/time_in_state

#include "tests/fuzz/inputs.h"
#include "tests/unit/support/time_in_state_reading.h"

namespace tarnwick {

void takeInput(std::string_view input) {
  const std::string text = kernelTextOf(input);
  expectSame(time_in_state_reading::statesOf(LoneText(text)),
             time_in_state_reading::sscanfStatesOf(text));
}

}  // namespace tarnwick
