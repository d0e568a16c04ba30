// /sys/class/power_supply/battery/temp

#include "sysstat/battery.h"
#include "tests/fuzz/inputs.h"

namespace tarnwick {

void takeInput(std::string_view input) {
  constexpr int64_t kHeld = -77;
  const std::string text = kernelTextOf(input);
  int64_t temp = kHeld;
  parseBatteryTemp(LoneText(text), temp);
  int64_t expected = kHeld;
  sscanf(text.c_str(), "%ld", &expected);
  expectSame(temp, expected);
}

}  // namespace tarnwick
