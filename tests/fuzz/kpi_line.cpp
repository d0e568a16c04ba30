// The lines of logcat

#include "tests/fuzz/inputs.h"
#include "tests/unit/support/kpi_reading.h"

namespace tarnwick {

void takeInput(std::string_view input) {
  forEachStreamLine(input, [](const std::string& line) {
    expectSame(kpi_reading::kpiOf(LoneText(line)), kpi_reading::sscanfKpiOf(line));
  });
}

}  // namespace tarnwick
