// The lines of the CPUs in /proc/stat

#include "sysstat/kernel_text.h"
#include "tests/fuzz/inputs.h"
#include "tests/unit/support/cpu_times_reading.h"

namespace tarnwick {

void takeInput(std::string_view input) {
  const std::string text(kernelText(input.data(), input.size()));
  for (const char* key : {"cpu", "cpu0", "cpu1", "cpu3", "cpu10", "cpu123", "cpu1234"}) {
    expectSame(cpu_times_reading::timesOf(LoneText(text), key),
               cpu_times_reading::sscanfTimesOf(text, key));
  }
}

}  // namespace tarnwick
